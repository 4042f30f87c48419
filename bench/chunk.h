// One chunk of records per sensor, as the plugin hands them to its encoders, and the encoders that
// turn a chunk into bytes: the plugin's GPB and JSON encoders, and three generated peers of the
// same proto/ messages (the standard protobuf library, protobuf-c, nanopb). Shared by the encoding
// benchmark, the peers' decode test and the instruction-budget driver.
#ifndef ZOR_BENCH_CHUNK_H
#define ZOR_BENCH_CHUNK_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sensors/ipstat/ipstat.h"
#include "sensors/mibstat/mibstat.h"
#include "sensors/subif/subif.h"

enum class ChunkSensor { IpStat, Subif, Mib, Common };
constexpr ChunkSensor kChunkSensors[] = {ChunkSensor::IpStat, ChunkSensor::Subif, ChunkSensor::Mib,
                                         ChunkSensor::Common};
const char *ChunkSensorName(ChunkSensor s); // "IpStat", "Subif", "Mib", "Common"

// 32 ip-statistics records, 50 subinterface, 50 mib and 50 common records with counter values
// spread over 1 to 48 significant bits, the same on every call (fixed seeds).
struct ChunkRecords {
    std::vector<TlmIfStatData> ip;
    std::vector<L2subifData> subif;
    std::vector<IfmTlmMibIfStatData> mib;
    std::vector<IfmTlmMibIfStatData> common;
    size_t Count(ChunkSensor s) const;
};
ChunkRecords MakeChunkRecords();

// The plugin's encoders: the message in framework memory (MDTLM_FreeBuff), 0 on success.
uint32_t EncodeOursGpb(ChunkSensor s, const ChunkRecords &r, uint8_t **msg, uint32_t *len);
uint32_t EncodeOursJson(ChunkSensor s, const ChunkRecords &r, uint8_t **msg, uint32_t *len);

// The generated peers do the job of the plugin's GPB encoder: fill the generated message from the
// records, size it, serialize it into `out` (grown when short). They return the message length.
// The common-statistics use rates are printed as "%.2f%%" texts, as the message carries them.
size_t EncodeProtobuf(ChunkSensor s, const ChunkRecords &r, std::vector<uint8_t> &out);
size_t EncodeProtobufC(ChunkSensor s, const ChunkRecords &r, std::vector<uint8_t> &out);
// nanopb with static sizes (bench/nanopb/*.options: at most 50 interfaces per message, names of
// 64 bytes), no callbacks: the message is one plain struct, as a device without a heap keeps it,
// written into a buffer of the largest size the generator states (no sizing pass).
size_t EncodeNanopb(ChunkSensor s, const ChunkRecords &r, std::vector<uint8_t> &out);
// The "%.2f%%" text of a use rate, as the peers write it.
void ChunkPercentText(double v, char *out, size_t cap);

// Fields of the generated messages and the record members they take, shared by the peers.
#define CHUNK_IPSTAT_FIELDS(X)                                                                     \
    X(receive_ip_byte, total.inBytes) X(send_ip_byte, total.outBytes)                              \
    X(receive_ip_packet, total.inPackets) X(send_ip_packet, total.outPackets)                      \
    X(receive_ip_bit_rate, total.inBitRate) X(send_ip_bit_rate, total.outBitRate)                  \
    X(receive_ip_packet_rate, total.inPacketRate) X(send_ip_packet_rate, total.outPacketRate)      \
    X(receive_ipv4_byte, ipv4.inBytes) X(send_ipv4_byte, ipv4.outBytes)                            \
    X(receive_ipv4_packet, ipv4.inPackets) X(send_ipv4_packet, ipv4.outPackets)                    \
    X(receive_ipv4_bit_rate, ipv4.inBitRate) X(send_ipv4_bit_rate, ipv4.outBitRate)                \
    X(receive_ipv4_packet_rate, ipv4.inPacketRate) X(send_ipv4_packet_rate, ipv4.outPacketRate)    \
    X(receive_ipv6_byte, ipv6.inBytes) X(send_ipv6_byte, ipv6.outBytes)                            \
    X(receive_ipv6_packet, ipv6.inPackets) X(send_ipv6_packet, ipv6.outPackets)                    \
    X(receive_ipv6_bit_rate, ipv6.inBitRate) X(send_ipv6_bit_rate, ipv6.outBitRate)                \
    X(receive_ipv6_packet_rate, ipv6.inPacketRate) X(send_ipv6_packet_rate, ipv6.outPacketRate)

#define CHUNK_SUBIF_STATE_FIELDS(X)                                                                \
    X(enabled, enabled) X(ifindex, stateIfIndex) X(last_change, lastChange) X(oper_status, operStatus)

#define CHUNK_SUBIF_COUNTER_FIELDS(X)                                                              \
    X(carrier_transitions, carrierTransitions) X(in_broadcast_pkts, inBroadcastPkts)               \
    X(in_discards, inDiscards) X(in_errors, inErrors) X(in_fcs_errors, inFcsErrors)                \
    X(in_multicast_pkts, inMulticastPkts) X(in_octets, inOctets) X(in_unicast_pkts, inUnicastPkts) \
    X(in_unknown_protos, inUnknownProtos) X(last_clear, lastClear)                                 \
    X(out_broadcast_pkts, outBroadcastPkts) X(out_discards, outDiscards) X(out_errors, outErrors)  \
    X(out_multicast_pkts, outMulticastPkts) X(out_octets, outOctets)                               \
    X(out_unicast_pkts, outUnicastPkts)

#define CHUNK_MIB_FIELDS(X)                                                                        \
    X(receive_byte, mib.receiveBytes) X(send_byte, mib.sendBytes)                                  \
    X(receive_packet, mib.receivePackets) X(send_packet, mib.sendPackets)                          \
    X(receive_unicast_packet, mib.receiveUnicastPackets)                                           \
    X(receive_multicast_packet, mib.receiveMulticastPackets)                                       \
    X(receive_broad_packet, mib.receiveBoardPackets) X(send_unicast_packet, mib.sendUnicastPackets) \
    X(send_multicast_packet, mib.sendMulticastPackets) X(send_broad_packet, mib.sendBoardPackets)  \
    X(receive_error_packet, mib.receiveErrorPackets) X(receive_drop_packet, mib.receiveDropPackets) \
    X(send_error_packet, mib.sendErrorPackets) X(send_drop_packet, mib.sendDropPackets)

#define CHUNK_COMMON_FIELDS(X)                                                                     \
    X(out_bit_rate, common.outBitRate) X(in_bit_rate, common.inBitRate)                            \
    X(send_byte, common.sendBytes) X(receive_byte, common.receiveBytes)                            \
    X(receive_packet, common.receivePackets) X(send_packet, common.sendPackets)                    \
    X(in_packet_rate, common.inPacketRate) X(out_packet_rate, common.outPacketRate)                \
    X(receive_multicast_packet, common.receiveMulticastPackets)                                    \
    X(send_multicast_packet, common.sendMulticastPackets)                                          \
    X(receive_broad_packet, common.receiveBoardPackets)                                            \
    X(send_broad_packet, common.sendBoardPackets)                                                  \
    X(receive_unicast_packet, common.receiveUnicastPackets)                                        \
    X(send_unicast_packet, common.sendUnicastPackets) X(send_drop_packet, common.sendDropPackets)  \
    X(receive_error_packet, common.receiveErrorPackets)                                            \
    X(receive_drop_packet, common.receiveDropPackets)

#endif
