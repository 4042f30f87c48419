/* Statistics store: generated accessors of the tables the plugin reads.
 *
 * Codes: 0 success, 13044 value absent (destination keeps its value), 15005 no such record
 * (keyed reads), 110012 end of rows (iterators); anything else is a failure.
 * The field lists below are X-macros so that the declarations and any implementation of the
 * accessors are generated from one list. */
#ifndef ZOR_PLATFORM_DB_STORE_H
#define ZOR_PLATFORM_DB_STORE_H

#include <stddef.h>
#include <stdint.h>

#define DB_OK 0u
#define DB_VALUE_ABSENT 13044u
#define DB_NO_RECORD 15005u
#define DB_END_OF_ROWS 110012u

#define DB_MODE_KEYED 3u
#define DB_MODE_ITERATE 5u
#define DB_MODE_COUNT 9u

#define DB_READ_FLAGS_KEY4 0x00010004u
#define DB_READ_FLAGS_KEY8 0x00010008u

#ifdef __cplusplus
extern "C" {
#endif

typedef struct DB_READ_OPTS {
    uint32_t flags;
    uint8_t reserved[12];
} DB_READ_OPTS;

/* Tables: X(table) */
#define DB_TABLES(X) \
    X(if_statistics) X(ifm_port_statistics) X(if) X(if_mgnt) X(trunk) X(trunk_member) X(sys_statistics_interval)

/* Row fields: X(table, field, type) */
#define DB_ROW_FIELDS(X)                                   \
    X(if_statistics, stat_type, uint32_t)                  \
    X(if_statistics, ifindex, uint32_t)                    \
    X(if_statistics, vrid, uint32_t)                       \
    X(if_statistics, interval_index, uint32_t)             \
    X(if_statistics, isReportTraffic, uint32_t)            \
    X(if_statistics, tunnelid, uint32_t)                   \
    X(if_statistics, flow_stat_interval, uint32_t)         \
    X(if_statistics, vlanid, uint16_t)                     \
    X(if_statistics, statistics_enable, uint8_t)           \
    X(ifm_port_statistics, ifindex, uint32_t)              \
    X(ifm_port_statistics, interval_index, uint32_t)       \
    X(ifm_port_statistics, vrid, uint32_t)                 \
    X(if, forwardType, uint32_t)                           \
    X(if, if_type, uint32_t)                               \
    X(if, speed, uint64_t)                                 \
    X(trunk, trunk_if_index, uint32_t)                     \
    X(sys_statistics_interval, flow_stat_interval, uint32_t)

/* if_statistics child "steps" (5 entries: 0-3 snapshot ring, 4 rate step), u64 each: X(field) */
#define DB_IF_STATISTICS_STEP_FIELDS(X)                                                              \
    X(in_bytes) X(out_bytes) X(in_packets) X(out_packets) X(ipv4_in_bytes) X(ipv4_out_bytes)         \
    X(ipv4_in_packets) X(ipv4_out_packets) X(ipv6_in_bytes) X(ipv6_out_bytes) X(ipv6_in_packets)     \
    X(ipv6_out_packets) X(timestamp_coll_cur)

/* ifm_port_statistics child "steps" (13 entries: 0-9 one-second ring, 10 rate step, 11 unused,
 * 12 baseline), u64 each, in the order the port reader reads them: X(field) */
#define DB_PORT_STATISTICS_STEP_FIELDS(X)                                                            \
    X(in_bytes) X(out_bytes) X(in_packets) X(out_packets) X(in_errors) X(out_errors)                 \
    X(in_nuc_packets) X(out_nuc_packets) X(in_discard_pkts) X(out_discard_pkts) X(out_qlen)          \
    X(in_hc_octets) X(out_hc_octets) X(in_bcast_packets) X(out_bcast_packets) X(in_ucast_packets)    \
    X(out_ucast_packets) X(in_mcast_packets) X(out_mcast_packets) X(in_crc_errors)                   \
    X(in_pause_packets) X(out_pause_packets) X(timestamp_coll_cur)

#define DB_IF_STATISTICS_STEP_COUNT 5u
#define DB_PORT_STATISTICS_STEP_COUNT 13u

#define DB_DECLARE_TABLE(t)                                                  \
    uint32_t db_create_##t##_obj(uint32_t mode, uint32_t flags, void **obj); \
    uint32_t db_release_##t##_object(void *obj);
DB_TABLES(DB_DECLARE_TABLE)
#undef DB_DECLARE_TABLE

#define DB_DECLARE_ROW_FIELD(t, f, T) uint32_t db_get_##t##_##f(void *obj, T *out);
DB_ROW_FIELDS(DB_DECLARE_ROW_FIELD)
#undef DB_DECLARE_ROW_FIELD

#define DB_DECLARE_IF_STEP_FIELD(f) uint32_t db_get_if_statistics_steps_##f(void *node, uint64_t *out);
DB_IF_STATISTICS_STEP_FIELDS(DB_DECLARE_IF_STEP_FIELD)
#undef DB_DECLARE_IF_STEP_FIELD

#define DB_DECLARE_PORT_STEP_FIELD(f) uint32_t db_get_ifm_port_statistics_steps_##f(void *node, uint64_t *out);
DB_PORT_STATISTICS_STEP_FIELDS(DB_DECLARE_PORT_STEP_FIELD)
#undef DB_DECLARE_PORT_STEP_FIELD

/* The stored NUL-terminated name and its length counting the NUL. */
uint32_t db_get_if_name(void *obj, const char **text, uint32_t *length);
/* 12 bytes: logical ifindex, actual ifindex, unused (three u32). */
uint32_t db_get_if_mgnt_sp_rootsup(void *obj, void *out);
/* Child "member" of trunk_member (key {u32 0, u32 trunk ifindex}). */
uint32_t db_get_trunk_member_member_member_ifindex(void *node, uint32_t *out);

uint32_t db_get_table_record_count(void *obj, uint32_t *count);
uint32_t db_create_stmt(void *obj, uint32_t kind, void *reserved1, uint32_t reserved2);
uint32_t db_append_stmt_condition(void *obj, const char *table, uint32_t fieldNo, uint32_t op, const void *value,
                                  uint32_t valueLen, void *reserved1, void *reserved2, uint32_t reserved3);
uint32_t db_create_root_iter(void *obj, void *reserved1, void *reserved2, void **iter); /* owned by obj */
uint32_t db_root_iterator_next(void *iter);                                              /* loads the next row */
uint32_t db_read_obj(void *obj, const DB_READ_OPTS *opts, const void *key);
uint32_t db_create_child_node(void *obj, uint32_t reserved1, const char *name, uint32_t reserved2,
                              uint32_t reserved3, void **node); /* owned by obj */
uint32_t db_child_count(void *node, uint32_t *count);
uint32_t db_child_get(void *node, uint32_t index); /* positions the node on entry index */

#ifdef __cplusplus
}
static_assert(sizeof(DB_READ_OPTS) == 16, "DB_READ_OPTS is 16 bytes");
#endif

#endif
