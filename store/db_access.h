/* Steps of the store's access pattern shared by the enumeration, the lookups and the readers:
 * reading a field, counting a table, opening an iterating object with its root iterator, and
 * listing its rows into records. */
#ifndef ZOR_IFM_DB_ACCESS_H
#define ZOR_IFM_DB_ACCESS_H

#include "core/core.h"
#include "store/store.h"

using DbCreateFn = uint32_t (*)(uint32_t mode, uint32_t flags, void **obj);

/* A failed step that ends an operation: end of rows is no failure. */
inline uint32_t IFM_DbEndCode(uint32_t rc) { return rc == DB_END_OF_ROWS ? 0 : rc; }

/* Number of records of a table, through an object in counting mode. Failures are logged with
 * their labels and returned; *count then keeps its value, as it does on 13044. */
template <typename Obj>
uint32_t IFM_DbCountRecords(DbCreateFn create, uint32_t *count, const char *createLabel, const char *countLabel)
{
    Obj obj;
    uint32_t rc = create(DB_MODE_COUNT, 0, obj.out());
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(createLabel, rc);
        return rc;
    }
    uint32_t rows = *count;
    rc = db_get_table_record_count(obj.get(), &rows);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(countLabel, rc);
        return rc;
    }
    *count = rows;
    return 0;
}

/* Creates an iterating object and its root iterator. Returns 0 or the failing step's code (logged
 * with its label). */
template <typename Obj>
uint32_t IFM_DbOpenRootIter(DbCreateFn create, Obj &obj, void **iter, const char *createLabel, const char *iterLabel)
{
    uint32_t rc = create(DB_MODE_ITERATE, 0, obj.out());
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(createLabel, rc);
        return rc;
    }
    rc = db_create_root_iter(obj.get(), nullptr, nullptr, iter);
    if (!IFM_DbOk(rc)) {
        IFM_LogDbError(iterLabel, rc);
        return rc;
    }
    return 0;
}

/* Reads one field; a failure other than 13044 is logged with its label and left in *rc. */
template <typename T>
bool IFM_DbReadField(uint32_t (*getter)(void *, T *), void *obj, T *out, const char *label, uint32_t *rc)
{
    *rc = getter(obj, out);
    if (IFM_DbOk(*rc)) {
        *rc = 0;
        return true;
    }
    IFM_LogDbError(label, *rc);
    return false;
}

/* Reads up to `count` rows of the open iterator into `records` with `read`. Fewer rows than
 * records is no failure; another iterator failure returns 1, logged with `nextFailed` (one %u) if
 * given. A failed read is logged with `readLabel` and its code returned. */
template <typename Record>
uint32_t IFM_DbListRows(void *obj, void *iter, Record *records, uint32_t count, uint32_t (*read)(void *, Record *),
                        const char *readLabel, const char *nextFailed)
{
    uint32_t rc = db_root_iterator_next(iter);
    for (uint32_t i = 0; i < count; ++i) {
        if (!IFM_DbOk(rc)) {
            if (rc != DB_END_OF_ROWS && nextFailed != nullptr) {
                MDTLM_WriteLog(IFM_LOG_ERROR, nextFailed, 1u);
            }
            return rc == DB_END_OF_ROWS ? 0 : 1;
        }
        const uint32_t readRc = read(obj, &records[i]);
        if (!IFM_DbOk(readRc)) {
            IFM_LogDbError(readLabel, readRc);
            return readRc;
        }
        rc = db_root_iterator_next(iter);
    }
    /* Nothing to fill, or all filled with more rows left: no failure either. */
    return (count == 0 || IFM_DbOk(rc) || rc == DB_END_OF_ROWS) ? 0 : rc;
}

#endif
