// Stand-in statistics store: in-memory tables with the generated db_* accessors.
//
// Rows live in chunked arrays (stable addresses, insertion order) with an open-addressing index
// key -> slot for O(1) keyed reads. A removed row leaves a dead slot behind, so slot numbers never change and an object
// that still refers to a removed row sees it as gone instead of reading freed memory. Each slot
// carries a serial number that is never reused, so a slot of a reset table is not mistaken for
// the row an object loaded before the reset.
//
// Every accessor has a small integer id (generated from the field lists) that indexes a plain
// array of call counters and of injected faults; the fault check costs one flag test when no fault
// is armed. Names are mapped to ids only in the control API.
#include <cstdio>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <vector>

#include "standin/fault_point.h"
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

// An action that runs before the nth call of a function (AtCall).
struct Action {
    uint64_t countdown; // 0: none pending
    std::function<void()> run;
};

uint64_t g_calls[FN_COUNT];
Fault g_faults[FN_COUNT];
Action g_actions[FN_COUNT];
bool g_anyFault = false; // a fault or an action is pending on some function
uint64_t g_liveObjects = 0;

void RecomputeAnyFault()
{
    g_anyFault = false;
    for (uint32_t i = 0; i < FN_COUNT; ++i) {
        g_anyFault = g_anyFault || g_faults[i].armed || g_actions[i].countdown != 0;
    }
}

void RunDueAction(FnId id)
{
    Action &a = g_actions[id];
    if (a.countdown == 0 || --a.countdown != 0) {
        return;
    }
    const std::function<void()> run = std::move(a.run);
    a.run = nullptr;
    RecomputeAnyFault();
    run();
}

bool FaultFires(FnId id, uint32_t *code)
{
    Fault &f = g_faults[id];
    if (!f.armed) {
        *code = kFail;
        return standin_fault::g_randomOn.load(std::memory_order_relaxed) && standin_fault::RandomFires();
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

FnId FnByName(const std::string &name, bool *found = nullptr)
{
    for (uint32_t i = 0; i < FN_COUNT; ++i) {
        if (name == kFnNames[i]) {
            return static_cast<FnId>(i);
        }
    }
    if (found != nullptr) {
        *found = false;
        return FN_COUNT;
    }
    throw std::invalid_argument("standin store: unknown function \"" + name + "\"");
}

// Counts the call and returns the injected code, if any, before the function does its work.
#define STORE_ENTER(id)                                        \
    do {                                                       \
        ++g_calls[id];                                         \
        if (__builtin_expect(g_anyFault || standin_fault::g_randomOn.load(std::memory_order_relaxed), 0)) { \
            RunDueAction(id);                                  \
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

// Objects and positioned child nodes remember the row or step they point at, valid while this
// number stands. It moves whenever a loaded row may have gone or changed (a removal, a reset, any
// read or iteration step), so the getters that follow a read take the remembered pointer and only
// the others look the row up again by slot and serial number.
uint64_t g_epoch = 1;

// Open-addressing index from a row key to its slot: linear probing in a power-of-two array kept at
// most half full, removal by shifting the following entries back (no tombstones). One probe
// usually lands on the entry, so a keyed read costs one cache line here instead of the bucket and
// node of a node-based map.
class KeyIndex {
public:
    static constexpr uint32_t kNone = UINT32_MAX;

    uint32_t Find(uint32_t key) const
    {
        const uint32_t i = Position(key);
        return i == kNone ? kNone : entries_[i].slotPlus1 - 1;
    }
    // The key must not be present.
    void Insert(uint32_t key, uint32_t slot)
    {
        if ((used_ + 1) * 2 > entries_.size()) {
            Grow();
        }
        uint32_t i = Home(key);
        while (entries_[i].slotPlus1 != 0) {
            i = (i + 1) & mask_;
        }
        entries_[i] = Entry{key, slot + 1};
        ++used_;
    }
    // Removes the key and returns the slot it named (kNone when absent).
    uint32_t Erase(uint32_t key)
    {
        uint32_t i = Position(key);
        if (i == kNone) {
            return kNone;
        }
        const uint32_t slot = entries_[i].slotPlus1 - 1;
        // Move back every later entry of the run whose home is not between the hole and itself.
        for (uint32_t j = (i + 1) & mask_; entries_[j].slotPlus1 != 0; j = (j + 1) & mask_) {
            const uint32_t home = Home(entries_[j].key);
            if (((j - home) & mask_) >= ((j - i) & mask_)) {
                entries_[i] = entries_[j];
                i = j;
            }
        }
        entries_[i] = Entry{};
        --used_;
        return slot;
    }
    void Clear()
    {
        entries_.clear();
        used_ = 0;
        mask_ = 0;
        shift_ = 64;
    }

private:
    struct Entry {
        uint32_t key;
        uint32_t slotPlus1; // 0: empty
    };
    // Position of the key's entry, or kNone.
    uint32_t Position(uint32_t key) const
    {
        if (used_ == 0) {
            return kNone;
        }
        for (uint32_t i = Home(key);; i = (i + 1) & mask_) {
            const Entry &e = entries_[i];
            if (e.slotPlus1 == 0) {
                return kNone;
            }
            if (e.key == key) {
                return i;
            }
        }
    }
    uint32_t Home(uint32_t key) const
    {
        return static_cast<uint32_t>((key * 0x9E3779B97F4A7C15ull) >> shift_) & mask_;
    }
    void Grow()
    {
        std::vector<Entry> old;
        old.swap(entries_);
        const size_t size = old.empty() ? 64 : old.size() * 2;
        entries_.assign(size, Entry{});
        mask_ = static_cast<uint32_t>(size - 1);
        shift_ = 64 - static_cast<uint32_t>(__builtin_ctzll(size));
        used_ = 0;
        for (const Entry &e : old) {
            if (e.slotPlus1 != 0) {
                Insert(e.key, e.slotPlus1 - 1);
            }
        }
    }

    std::vector<Entry> entries_;
    uint32_t used_ = 0;
    uint32_t mask_ = 0;
    uint32_t shift_ = 64;
};

// Rows live in chunks of fixed size, so their addresses never change, and the serial numbers live
// in a dense array of their own, so the check that a loaded row still exists does not touch the
// (possibly large, cold) row.
template <class Row>
struct Table {
    using RowType = Row;
    static constexpr uint32_t kChunkRows = 64;

    std::vector<std::unique_ptr<Row[]>> chunks;
    std::vector<uint64_t> serials; // per slot; 0 once the row is removed
    std::vector<uint32_t> keys;    // per slot: the row's key (0 for rows of tables without one)
    KeyIndex index;                // key -> slot (keyed tables)
    uint32_t live = 0;

    uint32_t Slots() const { return static_cast<uint32_t>(serials.size()); }
    Row &RowAt(uint32_t slot) { return chunks[slot / kChunkRows][slot % kChunkRows]; }
    bool Alive(uint32_t slot) const { return serials[slot] != 0; }

    Row *Find(uint32_t key)
    {
        const uint32_t slot = index.Find(key);
        return slot == KeyIndex::kNone ? nullptr : &RowAt(slot);
    }
    // Inserts at the end, or replaces in place keeping the row's position.
    Row *Put(uint32_t key, const Row &row)
    {
        const uint32_t slot = index.Find(key);
        if (slot != KeyIndex::kNone) {
            return &(RowAt(slot) = row);
        }
        index.Insert(key, Slots());
        return Append(row, key);
    }
    Row *Append(const Row &row, uint32_t key = 0)
    {
        const uint32_t slot = Slots();
        if (slot % kChunkRows == 0) {
            chunks.emplace_back(new Row[kChunkRows]());
        }
        serials.push_back(g_nextSerial++);
        keys.push_back(key);
        ++live;
        return &(RowAt(slot) = row);
    }
    bool Remove(uint32_t key)
    {
        const uint32_t slot = index.Erase(key);
        if (slot == KeyIndex::kNone) {
            return false;
        }
        serials[slot] = 0;
        ++g_epoch;
        RowAt(slot) = Row{}; // release what the row owns (names, member lists)
        --live;
        return true;
    }
    void Clear()
    {
        ++g_epoch;
        chunks.clear();
        serials.clear();
        keys.clear();
        index.Clear();
        live = 0;
    }
    // Drops the slots of removed rows; the live rows keep their order, keys and serial numbers.
    void Compact(bool keyed)
    {
        Table fresh;
        for (uint32_t slot = 0; slot < Slots(); ++slot) {
            if (Alive(slot)) {
                if (keyed) {
                    fresh.index.Insert(keys[slot], fresh.Slots());
                }
                fresh.Append(RowAt(slot), keys[slot]);
                fresh.serials.back() = serials[slot];
            }
        }
        *this = std::move(fresh);
        ++g_epoch;
    }
    // The row an object refers to, if that row still exists.
    Row *At(uint32_t slot, uint64_t serial)
    {
        return (slot < Slots() && serials[slot] == serial) ? &RowAt(slot) : nullptr;
    }
};

// The tables in the order of DB_TABLES, so that a table id is their index.
using Tables = std::tuple<Table<IfStatRow>, Table<PortStatRow>, Table<IfRow>, Table<IfMgntRow>, Table<TrunkRow>,
                          Table<TrunkMemberRow>, Table<SysIntervalRow>>;
static_assert(std::tuple_size<Tables>::value == TB_COUNT, "one table per table id");

Tables &Db()
{
    static Tables tables;
    return tables;
}

template <TableId T>
std::tuple_element_t<T, Tables> &TableOf()
{
    return std::get<T>(Db());
}

template <TableId T>
using RowOf = typename std::tuple_element_t<T, Tables>::RowType;

// Calls f(table) with the table of this id.
template <class F>
uint32_t WithTable(TableId id, F &&f)
{
    switch (id) {
#define TB_CASE(t) \
    case TB_##t:   \
        return f(TableOf<TB_##t>());
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
    const void *step; // the positioned step, while epoch == g_epoch
    uint64_t epoch;
};

struct DbObj {
    uint32_t magic;
    TableId table;
    uint32_t mode;
    bool loaded;
    uint32_t slot;
    uint64_t serial;
    const void *row; // the loaded row, while epoch == g_epoch
    uint64_t epoch;
    bool stmt;
    std::vector<uint32_t> statTypes; // conditions on if_statistics stat_type (all must hold)
    DbIter *iter;
    std::vector<DbNode *> nodes;
};

// Objects and child nodes are recycled through free lists: every keyed read creates and releases
// an object and a node, and the allocator would otherwise be a visible share of a tick. Under
// AddressSanitizer they are allocated and freed one by one, so that a use after release shows.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define STANDIN_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(STANDIN_ASAN)
constexpr bool kRecycle = false;
#else
constexpr bool kRecycle = true;
#endif

template <class T>
struct Recycler {
    std::vector<T *> spare;

    T *Take()
    {
        if (spare.empty()) {
            return new T();
        }
        T *p = spare.back();
        spare.pop_back();
        return p;
    }
    void Give(T *p)
    {
        if (kRecycle) {
            spare.push_back(p);
        } else {
            delete p;
        }
    }
};

Recycler<DbObj> g_objects;
Recycler<DbNode> g_nodes;

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
    DbObj *o = g_objects.Take();
    o->magic = kObjMagic;
    o->table = table;
    o->mode = mode;
    o->loaded = false;
    o->slot = 0;
    o->serial = 0;
    o->row = nullptr;
    o->epoch = 0;
    o->stmt = false;
    o->statTypes.clear(); // recycled objects keep the capacity of their lists
    o->iter = nullptr;
    o->nodes.clear();
    *obj = o;
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
        g_nodes.Give(n);
    }
    o->magic = 0;
    g_objects.Give(o);
    --g_liveObjects;
    return 0;
}

// The row loaded in an object of table T, or null when none is loaded or it has been removed.
template <TableId T>
const RowOf<T> *LoadedRow(void *p)
{
    const DbObj *o = AsObj(p);
    if (o == nullptr || o->table != T || !o->loaded) {
        return nullptr;
    }
    if (o->epoch == g_epoch) {
        return static_cast<const RowOf<T> *>(o->row);
    }
    return TableOf<T>().At(o->slot, o->serial);
}

template <class Row>
void LoadRow(DbObj *o, Table<Row> &t, uint32_t slot)
{
    o->loaded = true;
    o->slot = slot;
    o->serial = t.serials[slot];
    o->row = &t.RowAt(slot);
    o->epoch = ++g_epoch;
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

// The step a positioned node of kind K over table T stands on, or null when it is gone.
template <TableId T, ChildKind K>
const auto *StepOf(void *p)
{
    using Step = std::remove_reference_t<decltype(RowOf<T>::steps[0])>;
    const DbNode *n = AsNode(p, K);
    if (n != nullptr && n->epoch == g_epoch) {
        return static_cast<const Step *>(n->step);
    }
    const RowOf<T> *row = n != nullptr ? LoadedRow<T>(n->owner) : nullptr;
    return (row != nullptr && n->index < std::size(row->steps)) ? &row->steps[n->index] : nullptr;
}
constexpr auto IfStep = StepOf<TB_if_statistics, CHILD_IF_STEPS>;
constexpr auto PortStep = StepOf<TB_ifm_port_statistics, CHILD_PORT_STEPS>;

void PrefetchLines(const void *p, size_t size)
{
    if (p == nullptr) {
        return;
    }
    const auto *c = static_cast<const char *>(p);
    for (size_t off = 0; off < size; off += 64) {
        __builtin_prefetch(c + off);
    }
    __builtin_prefetch(c + size - 1);
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
        const uint32_t rc = ReleaseObj(TB_##t, obj);                      \
        STORE_ENTER(FN_db_release_##t##_object); /* the object is gone */ \
        return rc;                                                        \
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

#define DEF_STEP_GETTER(table, stepOf, f)                          \
    uint32_t db_get_##table##_steps_##f(void *node, uint64_t *out) \
    {                                                              \
        STORE_ENTER(FN_db_get_##table##_steps_##f);                \
        const auto *step = stepOf(node);                           \
        if (step == nullptr || out == nullptr) {                   \
            return kFail;                                          \
        }                                                          \
        *out = step->f;                                            \
        return 0;                                                  \
    }
#define DEF_IF_STEP_GETTER(f) DEF_STEP_GETTER(if_statistics, IfStep, f)
#define DEF_PORT_STEP_GETTER(f) DEF_STEP_GETTER(ifm_port_statistics, PortStep, f)
DB_IF_STATISTICS_STEP_FIELDS(DEF_IF_STEP_GETTER)
DB_PORT_STATISTICS_STEP_FIELDS(DEF_PORT_STEP_GETTER)
#undef DEF_PORT_STEP_GETTER
#undef DEF_IF_STEP_GETTER
#undef DEF_STEP_GETTER

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
    ++g_epoch;
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
        while (it->next < t.Slots()) {
            const auto slot = static_cast<uint32_t>(it->next++);
            if (t.Alive(slot) && RowMatches(o, t.RowAt(slot))) {
                LoadRow(o, t, slot);
                return 0;
            }
        }
        o->loaded = false;
        ++g_epoch;
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
            ++g_epoch;
            return DB_NO_RECORD;
        }
        k = pair[1];
        break;
    }
    default:
        return kFail; // tables without a key are iterated or counted, never read by key
    }
    return WithTable(o->table, [o, k](auto &t) -> uint32_t {
        const uint32_t slot = t.index.Find(k);
        if (slot == KeyIndex::kNone) {
            o->loaded = false;
            ++g_epoch;
            return DB_NO_RECORD;
        }
        LoadRow(o, t, slot);
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
    DbNode *n = g_nodes.Take();
    *n = DbNode{kNodeMagic, o, kind, false, 0, nullptr, 0};
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
    n->epoch = 0;
    // A positioned step is read field by field next: remember it, and ask for all of its cache
    // lines at once, so that their misses overlap instead of coming one getter after another.
    if (n->kind == CHILD_PORT_STEPS) {
        n->step = PortStep(n);
        PrefetchLines(n->step, sizeof(PortStatStep));
    } else if (n->kind == CHILD_IF_STEPS) {
        n->step = IfStep(n);
        PrefetchLines(n->step, sizeof(IfStatStep));
    }
    n->epoch = g_epoch;
    return 0;
}

} // extern "C"

// ---- Control API -----------------------------------------------------------------------------

namespace standin {
namespace store {

void Reset()
{
    std::apply([](auto &...tables) { (tables.Clear(), ...); }, Db());
    ClearFaults();
    ResetCallCounts();
}

void PutIfStat(const IfStatRow &row)
{
    TableOf<TB_if_statistics>().Put(row.ifindex, row);
}

IfStatRow *FindIfStat(uint32_t ifindex)
{
    return TableOf<TB_if_statistics>().Find(ifindex);
}

bool RemoveIfStat(uint32_t ifindex)
{
    return TableOf<TB_if_statistics>().Remove(ifindex);
}

void PutPortStat(const PortStatRow &row)
{
    TableOf<TB_ifm_port_statistics>().Put(row.ifindex, row);
}

PortStatRow *FindPortStat(uint32_t ifindex)
{
    return TableOf<TB_ifm_port_statistics>().Find(ifindex);
}

bool RemovePortStat(uint32_t ifindex)
{
    return TableOf<TB_ifm_port_statistics>().Remove(ifindex);
}

void PutIf(const IfRow &row)
{
    TableOf<TB_if>().Put(row.ifindex, row);
}

IfRow *FindIf(uint32_t ifindex)
{
    return TableOf<TB_if>().Find(ifindex);
}

bool RemoveIf(uint32_t ifindex)
{
    return TableOf<TB_if>().Remove(ifindex);
}

void AddTrunk(uint32_t trunkIfIndex)
{
    TableOf<TB_trunk>().Put(trunkIfIndex, TrunkRow{trunkIfIndex});
}

bool RemoveTrunk(uint32_t trunkIfIndex)
{
    return TableOf<TB_trunk>().Remove(trunkIfIndex);
}

void SetTrunkMembers(uint32_t trunkIfIndex, const std::vector<uint32_t> &members)
{
    TableOf<TB_trunk_member>().Put(trunkIfIndex, TrunkMemberRow{members});
}

bool RemoveTrunkMembers(uint32_t trunkIfIndex)
{
    return TableOf<TB_trunk_member>().Remove(trunkIfIndex);
}

void AddIfMgnt(const IfMgntRow &row)
{
    TableOf<TB_if_mgnt>().Append(row);
}

void ClearIfMgnt()
{
    TableOf<TB_if_mgnt>().Clear();
}

void SetSysFlowInterval(uint32_t seconds)
{
    TableOf<TB_sys_statistics_interval>().Put(0, SysIntervalRow{seconds});
}

void RemoveSysFlowInterval()
{
    TableOf<TB_sys_statistics_interval>().Remove(0);
}

void Compact()
{
    if (g_liveObjects != 0) {
        throw std::logic_error("standin store: Compact with store objects open");
    }
    // if_mgnt rows are appended without a key.
    std::apply([](auto &...t) { (t.Compact(!std::is_same<typename std::decay_t<decltype(t)>::RowType, IfMgntRow>::value), ...); },
               Db());
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

void AtCall(const std::string &function, uint64_t nth, std::function<void()> action)
{
    const FnId id = FnByName(function);
    if (nth == 0) {
        throw std::invalid_argument("standin store: AtCall needs nth >= 1 (1 = the next call)");
    }
    g_actions[id] = Action{nth, std::move(action)};
    g_anyFault = true;
}

void ClearFaults()
{
    for (Fault &f : g_faults) {
        f = Fault{};
    }
    for (Action &a : g_actions) {
        a = Action{};
    }
    g_anyFault = false;
}

const std::vector<std::string> &FunctionNames()
{
    static const std::vector<std::string> names(std::begin(kFnNames), std::end(kFnNames));
    return names;
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

namespace standin_fault {

bool StoreHasFunction(const std::string &name)
{
    bool found = true;
    (void)FnByName(name, &found);
    return found;
}

void StoreCallCounts(std::vector<std::pair<std::string, uint64_t>> &out)
{
    for (uint32_t i = 0; i < FN_COUNT; ++i) {
        if (g_calls[i] != 0) {
            out.emplace_back(kFnNames[i], g_calls[i]);
        }
    }
}

} // namespace standin_fault
