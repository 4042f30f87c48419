// Stand-in statistics store: in-memory tables with the generated db_* accessors.
//
// Rows live in deques (stable addresses, insertion order) with a hash index key -> slot for O(1)
// keyed reads. A removed row leaves a dead slot behind, so slot numbers never change and an object
// that still refers to a removed row sees it as gone instead of reading freed memory. Each slot
// carries a serial number that is never reused, so a slot of a reset table is not mistaken for
// the row an object loaded before the reset.
//
// Every accessor has a small integer id (generated from the field lists) that indexes a plain
// array of call counters and of injected faults; the fault check costs one flag test when no fault
// is armed. Names are mapped to ids only in the control API.
#include <cstdio>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <unordered_map>

#include "standin/standin.h"

using standin::store::IfMgntRow;
using standin::store::IfRow;
using standin::store::IfStatRow;
using standin::store::IfStatStep;
using standin::store::PortStatRow;
using standin::store::PortStatStep;

namespace {

constexpr uint32_t kFail = 1; // generic failure code of the stand-in store

// ---- Function ids ----------------------------------------------------------------------------

#define STORE_SIMPLE_FUNCS(X)                                                                         \
    X(db_get_if_name) X(db_get_if_mgnt_sp_rootsup) X(db_get_trunk_member_member_member_ifindex)        \
    X(db_get_table_record_count) X(db_create_stmt) X(db_append_stmt_condition) X(db_create_root_iter) \
    X(db_root_iterator_next) X(db_read_obj) X(db_create_child_node) X(db_child_count) X(db_child_get)

enum FnId : uint32_t {
#define FN_TABLE(t) FN_db_create_##t##_obj, FN_db_release_##t##_object,
    DB_TABLES(FN_TABLE)
#undef FN_TABLE
#define FN_ROW(t, f, T) FN_db_get_##t##_##f,
    DB_ROW_FIELDS(FN_ROW)
#undef FN_ROW
#define FN_IFSTEP(f) FN_db_get_if_statistics_steps_##f,
    DB_IF_STATISTICS_STEP_FIELDS(FN_IFSTEP)
#undef FN_IFSTEP
#define FN_PORTSTEP(f) FN_db_get_ifm_port_statistics_steps_##f,
    DB_PORT_STATISTICS_STEP_FIELDS(FN_PORTSTEP)
#undef FN_PORTSTEP
#define FN_SIMPLE(n) FN_##n,
    STORE_SIMPLE_FUNCS(FN_SIMPLE)
#undef FN_SIMPLE
    FN_COUNT
};

const char *const kFnNames[FN_COUNT] = {
#define NM_TABLE(t) "db_create_" #t "_obj", "db_release_" #t "_object",
    DB_TABLES(NM_TABLE)
#undef NM_TABLE
#define NM_ROW(t, f, T) "db_get_" #t "_" #f,
    DB_ROW_FIELDS(NM_ROW)
#undef NM_ROW
#define NM_IFSTEP(f) "db_get_if_statistics_steps_" #f,
    DB_IF_STATISTICS_STEP_FIELDS(NM_IFSTEP)
#undef NM_IFSTEP
#define NM_PORTSTEP(f) "db_get_ifm_port_statistics_steps_" #f,
    DB_PORT_STATISTICS_STEP_FIELDS(NM_PORTSTEP)
#undef NM_PORTSTEP
#define NM_SIMPLE(n) #n,
    STORE_SIMPLE_FUNCS(NM_SIMPLE)
#undef NM_SIMPLE
};

struct Fault {
    bool armed;
    bool every;
    bool firing; // an "every" fault that has reached its nth call
    uint64_t countdown;
    uint32_t code;
};

uint64_t g_calls[FN_COUNT];
Fault g_faults[FN_COUNT];
bool g_anyFault = false;
uint64_t g_liveObjects = 0;

void RecomputeAnyFault()
{
    g_anyFault = false;
    for (const Fault &f : g_faults) {
        g_anyFault = g_anyFault || f.armed;
    }
}

bool FaultFires(FnId id, uint32_t *code)
{
    Fault &f = g_faults[id];
    if (!f.armed) {
        return false;
    }
    if (!f.firing) {
        if (--f.countdown != 0) {
            return false;
        }
        if (f.every) {
            f.firing = true;
        } else {
            f.armed = false;
            RecomputeAnyFault();
        }
    }
    *code = f.code;
    return true;
}

FnId FnByName(const std::string &name)
{
    for (uint32_t i = 0; i < FN_COUNT; ++i) {
        if (name == kFnNames[i]) {
            return static_cast<FnId>(i);
        }
    }
    throw std::invalid_argument("standin store: unknown function \"" + name + "\"");
}

// Counts the call and returns the injected code, if any, before the function does its work.
#define STORE_ENTER(id)                                        \
    do {                                                       \
        ++g_calls[id];                                         \
        if (__builtin_expect(g_anyFault, 0)) {                 \
            uint32_t injected_;                                \
            if (FaultFires(id, &injected_)) {                  \
                return injected_;                              \
            }                                                  \
        }                                                      \
    } while (0)

// ---- Tables ----------------------------------------------------------------------------------

enum TableId : uint32_t {
#define TB_ID(t) TB_##t,
    DB_TABLES(TB_ID)
#undef TB_ID
    TB_COUNT
};


struct TrunkRow {
    uint32_t trunk_if_index;
};

struct TrunkMemberRow {
    std::vector<uint32_t> members;
};

struct SysIntervalRow {
    uint32_t flow_stat_interval;
};

uint64_t g_nextSerial = 1;

template <class Row>
struct Slot {
    Row row;
    uint64_t serial;
    bool alive;
};

template <class Row>
struct Table {
    std::deque<Slot<Row>> slots;
    std::unordered_map<uint32_t, uint32_t> index; // key -> slot (keyed tables)
    uint32_t live = 0;

    Row *Find(uint32_t key)
    {
        auto it = index.find(key);
        return it == index.end() ? nullptr : &slots[it->second].row;
    }
    const Slot<Row> *FindSlot(uint32_t key, uint32_t *slot) const
    {
        auto it = index.find(key);
        if (it == index.end()) {
            return nullptr;
        }
        *slot = it->second;
        return &slots[it->second];
    }
    // Inserts at the end, or replaces in place keeping the row's position.
    Row *Put(uint32_t key, const Row &row)
    {
        auto it = index.find(key);
        if (it != index.end()) {
            slots[it->second].row = row;
            return &slots[it->second].row;
        }
        index.emplace(key, static_cast<uint32_t>(slots.size()));
        return Append(row);
    }
    Row *Append(const Row &row)
    {
        slots.push_back(Slot<Row>{row, g_nextSerial++, true});
        ++live;
        return &slots.back().row;
    }
    bool Remove(uint32_t key)
    {
        auto it = index.find(key);
        if (it == index.end()) {
            return false;
        }
        Slot<Row> &s = slots[it->second];
        s.alive = false;
        s.row = Row{}; // release what the row owns (names, member lists)
        index.erase(it);
        --live;
        return true;
    }
    void Clear()
    {
        slots.clear();
        index.clear();
        live = 0;
    }
    // The slot an object refers to, if that row still exists.
    const Slot<Row> *At(uint32_t slot, uint64_t serial) const
    {
        if (slot >= slots.size()) {
            return nullptr;
        }
        const Slot<Row> &s = slots[slot];
        return (s.alive && s.serial == serial) ? &s : nullptr;
    }
};

struct Tables {
    Table<IfStatRow> if_statistics;
    Table<PortStatRow> ifm_port_statistics;
    Table<IfRow> if_;
    Table<IfMgntRow> if_mgnt;
    Table<TrunkRow> trunk;
    Table<TrunkMemberRow> trunk_member;
    Table<SysIntervalRow> sys_statistics_interval;
};

Tables &Db()
{
    static Tables tables;
    return tables;
}

template <TableId>
struct Traits;
template <>
struct Traits<TB_if_statistics> {
    using Row = IfStatRow;
    static Table<Row> &Get() { return Db().if_statistics; }
};
template <>
struct Traits<TB_ifm_port_statistics> {
    using Row = PortStatRow;
    static Table<Row> &Get() { return Db().ifm_port_statistics; }
};
template <>
struct Traits<TB_if> {
    using Row = IfRow;
    static Table<Row> &Get() { return Db().if_; }
};
template <>
struct Traits<TB_if_mgnt> {
    using Row = IfMgntRow;
    static Table<Row> &Get() { return Db().if_mgnt; }
};
template <>
struct Traits<TB_trunk> {
    using Row = TrunkRow;
    static Table<Row> &Get() { return Db().trunk; }
};
template <>
struct Traits<TB_trunk_member> {
    using Row = TrunkMemberRow;
    static Table<Row> &Get() { return Db().trunk_member; }
};
template <>
struct Traits<TB_sys_statistics_interval> {
    using Row = SysIntervalRow;
    static Table<Row> &Get() { return Db().sys_statistics_interval; }
};

// Calls f(table) with the table of this id.
template <class F>
uint32_t WithTable(TableId id, F &&f)
{
    switch (id) {
#define TB_CASE(t) \
    case TB_##t:   \
        return f(Traits<TB_##t>::Get());
        DB_TABLES(TB_CASE)
#undef TB_CASE
    default:
        return kFail;
    }
}

// ---- Objects, iterators, child nodes -----------------------------------------------------------

constexpr uint32_t kObjMagic = 0x4F424A31u;  // "OBJ1"
constexpr uint32_t kIterMagic = 0x49545231u; // "ITR1"
constexpr uint32_t kNodeMagic = 0x4E4F4431u; // "NOD1"

enum ChildKind : uint32_t { CHILD_IF_STEPS, CHILD_PORT_STEPS, CHILD_MEMBERS };

struct DbObj;

struct DbIter {
    uint32_t magic;
    DbObj *owner;
    size_t next; // next slot to look at
};

struct DbNode {
    uint32_t magic;
    DbObj *owner;
    ChildKind kind;
    bool positioned;
    uint32_t index;
};

struct DbObj {
    uint32_t magic;
    TableId table;
    uint32_t mode;
    bool loaded;
    uint32_t slot;
    uint64_t serial;
    bool stmt;
    std::vector<uint32_t> statTypes; // conditions on if_statistics stat_type (all must hold)
    DbIter *iter;
    std::vector<DbNode *> nodes;
};

DbObj *AsObj(void *p)
{
    auto *o = static_cast<DbObj *>(p);
    return (o != nullptr && o->magic == kObjMagic) ? o : nullptr;
}

uint32_t CreateObj(TableId table, uint32_t mode, void **obj)
{
    if (obj == nullptr || (mode != DB_MODE_KEYED && mode != DB_MODE_ITERATE && mode != DB_MODE_COUNT)) {
        return kFail;
    }
    *obj = new DbObj{kObjMagic, table, mode, false, 0, 0, false, {}, nullptr, {}};
    ++g_liveObjects;
    return 0;
}

uint32_t ReleaseObj(TableId table, void *p)
{
    DbObj *o = AsObj(p);
    if (o == nullptr || o->table != table) {
        return kFail;
    }
    if (o->iter != nullptr) {
        o->iter->magic = 0;
        delete o->iter;
    }
    for (DbNode *n : o->nodes) {
        n->magic = 0;
        delete n;
    }
    o->magic = 0;
    delete o;
    --g_liveObjects;
    return 0;
}

// The row loaded in an object of table T, or null when none is loaded or it has been removed.
template <TableId T>
const typename Traits<T>::Row *LoadedRow(void *p)
{
    const DbObj *o = AsObj(p);
    if (o == nullptr || o->table != T || !o->loaded) {
        return nullptr;
    }
    const auto *s = Traits<T>::Get().At(o->slot, o->serial);
    return s != nullptr ? &s->row : nullptr;
}

uint32_t ChildCount(const DbNode *n)
{
    switch (n->kind) {
    case CHILD_IF_STEPS:
        return LoadedRow<TB_if_statistics>(n->owner) != nullptr ? DB_IF_STATISTICS_STEP_COUNT : 0;
    case CHILD_PORT_STEPS:
        return LoadedRow<TB_ifm_port_statistics>(n->owner) != nullptr ? DB_PORT_STATISTICS_STEP_COUNT : 0;
    case CHILD_MEMBERS: {
        const TrunkMemberRow *row = LoadedRow<TB_trunk_member>(n->owner);
        return row != nullptr ? static_cast<uint32_t>(row->members.size()) : 0;
    }
    }
    return 0;
}

DbNode *AsNode(void *p, ChildKind kind)
{
    auto *n = static_cast<DbNode *>(p);
    return (n != nullptr && n->magic == kNodeMagic && n->kind == kind && n->positioned) ? n : nullptr;
}

const IfStatStep *IfStep(void *p)
{
    const DbNode *n = AsNode(p, CHILD_IF_STEPS);
    const IfStatRow *row = n != nullptr ? LoadedRow<TB_if_statistics>(n->owner) : nullptr;
    return (row != nullptr && n->index < DB_IF_STATISTICS_STEP_COUNT) ? &row->steps[n->index] : nullptr;
}

const PortStatStep *PortStep(void *p)
{
    const DbNode *n = AsNode(p, CHILD_PORT_STEPS);
    const PortStatRow *row = n != nullptr ? LoadedRow<TB_ifm_port_statistics>(n->owner) : nullptr;
    return (row != nullptr && n->index < DB_PORT_STATISTICS_STEP_COUNT) ? &row->steps[n->index] : nullptr;
}

bool RowMatches(const DbObj *o, const IfStatRow &row)
{
    for (uint32_t v : o->statTypes) {
        if (row.stat_type != v) {
            return false;
        }
    }
    return true;
}
template <class Row>
bool RowMatches(const DbObj *, const Row &)
{
    return true;
}

} // namespace

// ---- C accessors ------------------------------------------------------------------------------

extern "C" {

#define DEF_TABLE_OBJ(t)                                                  \
    uint32_t db_create_##t##_obj(uint32_t mode, uint32_t flags, void **obj) \
    {                                                                     \
        STORE_ENTER(FN_db_create_##t##_obj);                              \
        (void)flags;                                                      \
        return CreateObj(TB_##t, mode, obj);                              \
    }                                                                     \
    uint32_t db_release_##t##_object(void *obj)                           \
    {                                                                     \
        STORE_ENTER(FN_db_release_##t##_object);                          \
        return ReleaseObj(TB_##t, obj);                                   \
    }
DB_TABLES(DEF_TABLE_OBJ)
#undef DEF_TABLE_OBJ

#define DEF_ROW_GETTER(t, f, T)                                \
    uint32_t db_get_##t##_##f(void *obj, T *out)               \
    {                                                          \
        STORE_ENTER(FN_db_get_##t##_##f);                      \
        const auto *row = LoadedRow<TB_##t>(obj);              \
        if (row == nullptr || out == nullptr) {                \
            return kFail;                                      \
        }                                                      \
        *out = row->f;                                         \
        return 0;                                              \
    }
DB_ROW_FIELDS(DEF_ROW_GETTER)
#undef DEF_ROW_GETTER

#define DEF_IF_STEP_GETTER(f)                                            \
    uint32_t db_get_if_statistics_steps_##f(void *node, uint64_t *out)   \
    {                                                                    \
        STORE_ENTER(FN_db_get_if_statistics_steps_##f);                  \
        const IfStatStep *step = IfStep(node);                           \
        if (step == nullptr || out == nullptr) {                         \
            return kFail;                                                \
        }                                                                \
        *out = step->f;                                                  \
        return 0;                                                        \
    }
DB_IF_STATISTICS_STEP_FIELDS(DEF_IF_STEP_GETTER)
#undef DEF_IF_STEP_GETTER

#define DEF_PORT_STEP_GETTER(f)                                              \
    uint32_t db_get_ifm_port_statistics_steps_##f(void *node, uint64_t *out) \
    {                                                                        \
        STORE_ENTER(FN_db_get_ifm_port_statistics_steps_##f);                \
        const PortStatStep *step = PortStep(node);                           \
        if (step == nullptr || out == nullptr) {                             \
            return kFail;                                                    \
        }                                                                    \
        *out = step->f;                                                      \
        return 0;                                                            \
    }
DB_PORT_STATISTICS_STEP_FIELDS(DEF_PORT_STEP_GETTER)
#undef DEF_PORT_STEP_GETTER

uint32_t db_get_if_name(void *obj, const char **text, uint32_t *length)
{
    STORE_ENTER(FN_db_get_if_name);
    const IfRow *row = LoadedRow<TB_if>(obj);
    if (row == nullptr || text == nullptr || length == nullptr) {
        return kFail;
    }
    *text = row->name.c_str();
    *length = static_cast<uint32_t>(row->name.size() + 1);
    return 0;
}

uint32_t db_get_if_mgnt_sp_rootsup(void *obj, void *out)
{
    STORE_ENTER(FN_db_get_if_mgnt_sp_rootsup);
    const IfMgntRow *row = LoadedRow<TB_if_mgnt>(obj);
    if (row == nullptr || out == nullptr) {
        return kFail;
    }
    const uint32_t value[3] = {row->logicalIfIndex, row->actualIfIndex, row->unused};
    std::memcpy(out, value, sizeof(value));
    return 0;
}

uint32_t db_get_trunk_member_member_member_ifindex(void *node, uint32_t *out)
{
    STORE_ENTER(FN_db_get_trunk_member_member_member_ifindex);
    const DbNode *n = AsNode(node, CHILD_MEMBERS);
    const TrunkMemberRow *row = n != nullptr ? LoadedRow<TB_trunk_member>(n->owner) : nullptr;
    if (row == nullptr || out == nullptr || n->index >= row->members.size()) {
        return kFail;
    }
    *out = row->members[n->index];
    return 0;
}

uint32_t db_get_table_record_count(void *obj, uint32_t *count)
{
    STORE_ENTER(FN_db_get_table_record_count);
    const DbObj *o = AsObj(obj);
    if (o == nullptr || o->mode != DB_MODE_COUNT || count == nullptr) {
        return kFail;
    }
    *count = WithTable(o->table, [](auto &t) { return t.live; });
    return 0;
}

uint32_t db_create_stmt(void *obj, uint32_t kind, void *reserved1, uint32_t reserved2)
{
    STORE_ENTER(FN_db_create_stmt);
    (void)reserved1;
    (void)reserved2;
    DbObj *o = AsObj(obj);
    if (o == nullptr || o->mode != DB_MODE_ITERATE || kind != 3) {
        return kFail;
    }
    o->stmt = true;
    return 0;
}

uint32_t db_append_stmt_condition(void *obj, const char *table, uint32_t fieldNo, uint32_t op, const void *value,
                                  uint32_t valueLen, void *reserved1, void *reserved2, uint32_t reserved3)
{
    STORE_ENTER(FN_db_append_stmt_condition);
    (void)reserved1;
    (void)reserved2;
    (void)reserved3;
    DbObj *o = AsObj(obj);
    // The one condition the store knows: if_statistics field 1 (stat_type) equal (op 1) to a u32.
    if (o == nullptr || !o->stmt || o->table != TB_if_statistics || table == nullptr ||
        std::strcmp(table, "if_statistics") != 0 || fieldNo != 1 || op != 1 || value == nullptr ||
        valueLen != sizeof(uint32_t)) {
        return kFail;
    }
    uint32_t v;
    std::memcpy(&v, value, sizeof(v));
    o->statTypes.push_back(v);
    return 0;
}

uint32_t db_create_root_iter(void *obj, void *reserved1, void *reserved2, void **iter)
{
    STORE_ENTER(FN_db_create_root_iter);
    (void)reserved1;
    (void)reserved2;
    DbObj *o = AsObj(obj);
    if (o == nullptr || o->mode != DB_MODE_ITERATE || iter == nullptr) {
        return kFail;
    }
    if (o->iter == nullptr) {
        o->iter = new DbIter{kIterMagic, o, 0};
    }
    o->iter->next = 0;
    o->loaded = false;
    *iter = o->iter;
    return 0;
}

uint32_t db_root_iterator_next(void *iter)
{
    STORE_ENTER(FN_db_root_iterator_next);
    auto *it = static_cast<DbIter *>(iter);
    if (it == nullptr || it->magic != kIterMagic) {
        return kFail;
    }
    DbObj *o = it->owner;
    return WithTable(o->table, [o, it](auto &t) -> uint32_t {
        while (it->next < t.slots.size()) {
            const size_t slot = it->next++;
            const auto &s = t.slots[slot];
            if (s.alive && RowMatches(o, s.row)) {
                o->loaded = true;
                o->slot = static_cast<uint32_t>(slot);
                o->serial = s.serial;
                return 0;
            }
        }
        o->loaded = false;
        return DB_END_OF_ROWS;
    });
}

uint32_t db_read_obj(void *obj, const DB_READ_OPTS *opts, const void *key)
{
    STORE_ENTER(FN_db_read_obj);
    DbObj *o = AsObj(obj);
    if (o == nullptr || o->mode != DB_MODE_KEYED || opts == nullptr || key == nullptr) {
        return kFail;
    }
    for (uint8_t b : opts->reserved) {
        if (b != 0) {
            return kFail;
        }
    }
    uint32_t k = 0;
    switch (o->table) {
    case TB_if_statistics:
    case TB_ifm_port_statistics:
    case TB_if:
    case TB_sys_statistics_interval:
        if (opts->flags != DB_READ_FLAGS_KEY4) {
            return kFail;
        }
        std::memcpy(&k, key, sizeof(k));
        break;
    case TB_trunk_member: {
        if (opts->flags != DB_READ_FLAGS_KEY8) {
            return kFail;
        }
        uint32_t pair[2];
        std::memcpy(pair, key, sizeof(pair));
        if (pair[0] != 0) {
            o->loaded = false;
            return DB_NO_RECORD;
        }
        k = pair[1];
        break;
    }
    default:
        return kFail; // tables without a key are iterated or counted, never read by key
    }
    return WithTable(o->table, [o, k](auto &t) -> uint32_t {
        uint32_t slot = 0;
        const auto *s = t.FindSlot(k, &slot);
        if (s == nullptr) {
            o->loaded = false;
            return DB_NO_RECORD;
        }
        o->loaded = true;
        o->slot = slot;
        o->serial = s->serial;
        return 0;
    });
}

uint32_t db_create_child_node(void *obj, uint32_t reserved1, const char *name, uint32_t reserved2,
                              uint32_t reserved3, void **node)
{
    STORE_ENTER(FN_db_create_child_node);
    (void)reserved1;
    (void)reserved2;
    (void)reserved3;
    DbObj *o = AsObj(obj);
    if (o == nullptr || name == nullptr || node == nullptr) {
        return kFail;
    }
    ChildKind kind;
    if (o->table == TB_if_statistics && std::strcmp(name, "steps") == 0) {
        kind = CHILD_IF_STEPS;
    } else if (o->table == TB_ifm_port_statistics && std::strcmp(name, "steps") == 0) {
        kind = CHILD_PORT_STEPS;
    } else if (o->table == TB_trunk_member && std::strcmp(name, "member") == 0) {
        kind = CHILD_MEMBERS;
    } else {
        return kFail;
    }
    auto *n = new DbNode{kNodeMagic, o, kind, false, 0};
    o->nodes.push_back(n);
    *node = n;
    return 0;
}

uint32_t db_child_count(void *node, uint32_t *count)
{
    STORE_ENTER(FN_db_child_count);
    auto *n = static_cast<DbNode *>(node);
    if (n == nullptr || n->magic != kNodeMagic || count == nullptr) {
        return kFail;
    }
    *count = ChildCount(n);
    return 0;
}

uint32_t db_child_get(void *node, uint32_t index)
{
    STORE_ENTER(FN_db_child_get);
    auto *n = static_cast<DbNode *>(node);
    if (n == nullptr || n->magic != kNodeMagic) {
        return kFail;
    }
    if (index >= ChildCount(n)) {
        n->positioned = false;
        return kFail;
    }
    n->positioned = true;
    n->index = index;
    return 0;
}

} // extern "C"

// ---- Control API -----------------------------------------------------------------------------

namespace standin {
namespace store {

void Reset()
{
    Tables &db = Db();
    db.if_statistics.Clear();
    db.ifm_port_statistics.Clear();
    db.if_.Clear();
    db.if_mgnt.Clear();
    db.trunk.Clear();
    db.trunk_member.Clear();
    db.sys_statistics_interval.Clear();
    ClearFaults();
    ResetCallCounts();
}

void PutIfStat(const IfStatRow &row)
{
    Db().if_statistics.Put(row.ifindex, row);
}

IfStatRow *FindIfStat(uint32_t ifindex)
{
    return Db().if_statistics.Find(ifindex);
}

bool RemoveIfStat(uint32_t ifindex)
{
    return Db().if_statistics.Remove(ifindex);
}

void PutPortStat(const PortStatRow &row)
{
    Db().ifm_port_statistics.Put(row.ifindex, row);
}

PortStatRow *FindPortStat(uint32_t ifindex)
{
    return Db().ifm_port_statistics.Find(ifindex);
}

bool RemovePortStat(uint32_t ifindex)
{
    return Db().ifm_port_statistics.Remove(ifindex);
}

void PutIf(const IfRow &row)
{
    Db().if_.Put(row.ifindex, row);
}

IfRow *FindIf(uint32_t ifindex)
{
    return Db().if_.Find(ifindex);
}

bool RemoveIf(uint32_t ifindex)
{
    return Db().if_.Remove(ifindex);
}

void AddTrunk(uint32_t trunkIfIndex)
{
    Db().trunk.Put(trunkIfIndex, TrunkRow{trunkIfIndex});
}

bool RemoveTrunk(uint32_t trunkIfIndex)
{
    return Db().trunk.Remove(trunkIfIndex);
}

void SetTrunkMembers(uint32_t trunkIfIndex, const std::vector<uint32_t> &members)
{
    Db().trunk_member.Put(trunkIfIndex, TrunkMemberRow{members});
}

bool RemoveTrunkMembers(uint32_t trunkIfIndex)
{
    return Db().trunk_member.Remove(trunkIfIndex);
}

void AddIfMgnt(const IfMgntRow &row)
{
    Db().if_mgnt.Append(row);
}

void ClearIfMgnt()
{
    Db().if_mgnt.Clear();
}

void SetSysFlowInterval(uint32_t seconds)
{
    Db().sys_statistics_interval.Put(0, SysIntervalRow{seconds});
}

void RemoveSysFlowInterval()
{
    Db().sys_statistics_interval.Remove(0);
}

void InjectFault(const std::string &function, uint32_t code, uint64_t nth, bool every)
{
    const FnId id = FnByName(function);
    if (nth == 0) {
        throw std::invalid_argument("standin store: InjectFault needs nth >= 1 (1 = the next call)");
    }
    g_faults[id] = Fault{true, every, false, nth, code};
    g_anyFault = true;
}

void ClearFaults()
{
    for (Fault &f : g_faults) {
        f = Fault{};
    }
    g_anyFault = false;
}

uint64_t CallCount(const std::string &function)
{
    return g_calls[FnByName(function)];
}

void ResetCallCounts()
{
    for (uint64_t &c : g_calls) {
        c = 0;
    }
}

uint64_t LiveObjects()
{
    return g_liveObjects;
}

} // namespace store
} // namespace standin
