// The simulated board's INI library (libIni): ParseIniFile on SimpleIni,
// applying a file to the simulated store. The syntax is in
// docs/simulator.md.
#ifndef FTM_SIM_LIBINI_LIBINI_SIM_H_
#define FTM_SIM_LIBINI_LIBINI_SIM_H_

// A function ParseIniFile calls while it runs, before it parses (null: none).
// Tests use it to look at the daemon from inside a load.
using SimIniHook = void (*)();
void SimIniSetHook(SimIniHook hook);

#endif  // FTM_SIM_LIBINI_LIBINI_SIM_H_
