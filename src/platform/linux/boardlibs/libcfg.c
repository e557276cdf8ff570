/* Link stand-in for the board's configuration store library. It lets the
 * board build link against the library's soname; on the board the real
 * libcfg.so is loaded in its place. Never installed. */
int cfg_startSession() { return 0; }
int cl_cfg_getTable() { return -1; }
int cfg_findCol() { return -1; }
int cfg_setField() { return -1; }
int cfg_startTransaction() { return -1; }
int cfg_commitTransaction() { return -1; }
int cfg_abortTransaction() { return -1; }
int cfg_freeTable() { return -1; }
int cfg_endSession() { return -1; }
int cfg_resetCfg() { return -1; }
