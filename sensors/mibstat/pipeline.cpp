#include "sensors/mibstat/mibstat.h"

uint32_t IFMPlugin_MDTLM_MibIfStatTlmProc(IfmTaskRound *, IfStatBaseInfo *, uint32_t, uint32_t) { return 1; }
uint32_t IFMPlugin_MDTLM_MibIfmPortStatTlmProc(IfmTaskRound *, IfmPortStatBaseInfo *, uint32_t, uint32_t)
{
    return 1;
}
