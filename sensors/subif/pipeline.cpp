#include "sensors/subif/subif.h"

uint32_t IFMPlugin_MDTLM_L2subifTlmProc(IfmTaskRound *, IfStatBaseInfo *, uint32_t) { return 1; }
