// The daemon's version, for `strings` on a board image. The daemon never
// prints it: it takes no arguments and its start-up output is fixed.
#include "ftm_version.h"

extern "C" {
extern const char ftmd_version[];
const char ftmd_version[] = "ftmd version " FTM_VERSION;
}
