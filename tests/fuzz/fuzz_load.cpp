// Fuzz target: the whole load of a file. Aborts with the fault when a check fails.
#include "FuzzChecks.h"
#include "FuzzMain.h"

QDIFC_FUZZ_TARGET(qdifc_fuzz::checkLoad)
