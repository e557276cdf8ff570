/* Link stand-in for the board's INI library; the board's libIni.so is loaded
 * in its place. Never installed. */
int ParseIniFile() { return -1; }
