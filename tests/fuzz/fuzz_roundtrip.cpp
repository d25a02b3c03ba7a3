// Fuzz target: load, write, load again. Aborts with the fault when a check fails.
#include "FuzzChecks.h"
#include "FuzzMain.h"

QDIFC_FUZZ_TARGET(qdifc_fuzz::checkRoundTrip)
