#include "sensors/ipstat/ipstat.h"

uint32_t IFMPlugin_MDTLM_IfStatTlmProc(IfmTaskRound *, IfStatBaseInfo *, uint32_t) { return 1; }
