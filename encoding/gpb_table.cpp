/* Field-table engine: one row per field of a message level. Sizing and writing walk the same rows
 * and resolve each row to the same (field number, value) pair, so a buffer sized by
 * IFM_GPB_TableSize is filled exactly by IFM_GPB_TableWrite. */
#include <cstring>

#include "encoding/gpb.h"
#include "platform/platform.h"

uint32_t IFM_FormatPercent(double value, char (&text)[IFM_PERCENT_TEXT_LEN])
{
    (void)memset_s(text, sizeof(text), 0, sizeof(text));
    /* Use rates are capped at 100, so the text always fits; the results are not needed. */
    (void)snprintf_s(text, sizeof(text), sizeof(text) - 1, "%.2f", value);
    (void)strcat_s(text, sizeof(text), "%");
    return static_cast<uint32_t>(strnlen(text, sizeof(text)));
}

namespace {

/* The value of one row in wire form: an integer, or the bytes of a string. */
struct RowValue {
    bool isString;
    uint64_t integer;
    const void *bytes;
    uint32_t length;
    char percent[IFM_PERCENT_TEXT_LEN]; /* backing store of a Percent row's text */
};

template <typename T> inline T FieldAt(const void *record, uint16_t offset)
{
    return *reinterpret_cast<const T *>(static_cast<const uint8_t *>(record) + offset);
}

void ResolveRow(const GpbField &row, const void *record, RowValue &out)
{
    switch (row.value) {
    case GpbValue::U64:
        out.isString = false;
        out.integer = FieldAt<uint64_t>(record, row.offset);
        break;
    case GpbValue::U32:
        out.isString = false;
        out.integer = FieldAt<uint32_t>(record, row.offset);
        break;
    case GpbValue::Text: {
        const char *text = static_cast<const char *>(record) + row.offset;
        out.isString = true;
        out.bytes = text;
        out.length = static_cast<uint32_t>(strnlen(text, row.capacity));
        break;
    }
    case GpbValue::Percent:
        out.isString = true;
        out.length = IFM_FormatPercent(FieldAt<double>(record, row.offset), out.percent);
        out.bytes = out.percent;
        break;
    }
}

} // namespace

uint32_t IFM_GPB_TableSize(const GpbTable &table, const void *record)
{
    uint32_t size = 0;
    RowValue value{};
    for (uint32_t i = 0; i < table.count; ++i) {
        const GpbField &row = table.fields[i];
        ResolveRow(row, record, value);
        size += value.isString ? IFM_GPB_GetEncodingSizeOfStringType(row.number, value.length)
                               : IFM_GPB_GetEncodingSizeOfIntegerType(row.number, value.integer);
    }
    return size;
}

uint32_t IFM_GPB_TableWrite(const GpbTable &table, const void *record, uint8_t **cursor, uint32_t *remain)
{
    if (cursor == nullptr || *cursor == nullptr || remain == nullptr) {
        return 1;
    }
    uint8_t *pos = *cursor;
    RowValue value{};
    for (uint32_t i = 0; i < table.count; ++i) {
        const GpbField &row = table.fields[i];
        ResolveRow(row, record, value);
        const uint32_t written = value.isString
                                     ? IFM_GPB_EncodeStringType(pos, *remain, row.number, value.length, value.bytes)
                                     : IFM_GPB_EncodeIntegerType(pos, *remain, row.number, value.integer);
        if (written == 0) {
            return 1; /* the caller's cursor stays where it was */
        }
        pos += written;
        *remain -= written;
    }
    *cursor = pos;
    return 0;
}
