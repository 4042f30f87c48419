/* Field-table engine: one row per field of a message level. Sizing and writing walk the same rows
 * and resolve each row to the same value. The sizing pass measures each field with the inline
 * sizing functions; the writing pass stores the bytes directly (the same bytes as the primitives,
 * without a bounded copy per key and value), after checking the field's size, measured with the
 * same functions, against the remaining length, or without a check while the room left holds the
 * longest integer field. A buffer sized by IFM_GPB_TableSize is thus filled exactly by
 * IFM_GPB_TableWrite. */
#include <cstring>

#include "encoding/gpb.h"
#include "encoding/number_text.h"
#include "platform/platform.h"

uint32_t IFM_FormatPercent(double value, char (&text)[IFM_PERCENT_TEXT_LEN])
{
    (void)memset_s(text, sizeof(text), 0, sizeof(text));
    /* Use rates are capped at 100, so the text always fits; the results are not needed. */
    (void)snprintf_s(text, sizeof(text), sizeof(text) - 1, "%.2f", value);
    (void)strcat_s(text, sizeof(text), "%");
    return static_cast<uint32_t>(strnlen(text, sizeof(text)));
}

uint32_t IFM_FormatPercentFast(double value, char (&text)[IFM_PERCENT_TEXT_LEN])
{
    uint64_t hundredths;
    if (!IFM_PercentHundredths(value, &hundredths)) {
        return IFM_FormatPercent(value, text);
    }
    /* Below 2^53 the whole part has at most 16 digits: the text stays far below 32 bytes. */
    uint32_t n = IFM_FormatDecimal(hundredths / 100u, text);
    const uint32_t cents = static_cast<uint32_t>(hundredths % 100u);
    text[n++] = '.';
    text[n++] = static_cast<char>('0' + cents / 10u);
    text[n++] = static_cast<char>('0' + cents % 10u);
    text[n++] = '%';
    text[n] = '\0';
    return n;
}

__attribute__((noinline)) uint32_t IFM_PercentTextLength(double value)
{
    uint64_t hundredths;
    if (!IFM_PercentHundredths(value, &hundredths)) {
        char text[IFM_PERCENT_TEXT_LEN];
        return IFM_FormatPercent(value, text);
    }
    return IFM_DecimalDigits(hundredths / 100u) + 4u; /* whole part, '.', two digits, '%' */
}

namespace {

/* Room that any integer field fits in: a key of up to 5 bytes (field numbers are 32-bit) and a
 * 10-byte value. */
constexpr uint32_t kMaxIntegerField = 15;

template <typename T> inline T FieldAt(const uint8_t *record, uint16_t offset)
{
    T value;
    std::memcpy(&value, record + offset, sizeof(value)); /* the field may sit anywhere in the record */
    return value;
}

inline const char *TextAt(const uint8_t *record, const GpbField &row)
{
    return reinterpret_cast<const char *>(record + row.offset);
}

inline uint32_t TextLength(const uint8_t *record, const GpbField &row)
{
    return static_cast<uint32_t>(strnlen(TextAt(record, row), row.capacity));
}

/* Loads an integer row's value; false for a string row. */
inline bool IntegerAt(const uint8_t *record, const GpbField &row, uint64_t *value)
{
    if (row.value == GpbValue::U64) {
        *value = FieldAt<uint64_t>(record, row.offset);
        return true;
    }
    if (row.value == GpbValue::U32) {
        *value = FieldAt<uint32_t>(record, row.offset);
        return true;
    }
    return false;
}

} // namespace

uint32_t IFM_GPB_StringRowSize(const GpbField &row, const void *recordBytes)
{
    const uint8_t *record = static_cast<const uint8_t *>(recordBytes);
    if (row.value == GpbValue::Text) {
        return IFM_GPB_GetEncodingSizeOfStringType(row.number, TextLength(record, row));
    }
    return IFM_GPB_GetEncodingSizeOfStringType(row.number, IFM_PercentTextLength(FieldAt<double>(record, row.offset)));
}

uint32_t IFM_GPB_StringRowWrite(const GpbField &row, const void *recordBytes, uint8_t *pos, uint32_t remain)
{
    const uint8_t *record = static_cast<const uint8_t *>(recordBytes);
    if (row.value == GpbValue::Text) {
        return IFM_GPB_PutStringType(pos, remain, row.number, TextLength(record, row), TextAt(record, row));
    }
    char text[IFM_PERCENT_TEXT_LEN];
    const uint32_t length = IFM_FormatPercentFast(FieldAt<double>(record, row.offset), text);
    return IFM_GPB_PutStringType(pos, remain, row.number, length, text);
}

uint32_t IFM_GPB_TableSize(const GpbTable &table, const void *record)
{
    const uint8_t *base = static_cast<const uint8_t *>(record);
    uint32_t size = 0;
    for (const GpbField *row = table.fields, *end = table.fields + table.count; row != end; ++row) {
        uint64_t value;
        if (IntegerAt(base, *row, &value)) {
            size += row->keyLength + IFM_GPB_GetValueSizeOfInteger(value);
        } else {
            size += IFM_GPB_StringRowSize(*row, base);
        }
    }
    return size;
}

uint32_t IFM_GPB_TableWrite(const GpbTable &table, const void *record, uint8_t **cursor, uint32_t *remain)
{
    if (cursor == nullptr || *cursor == nullptr || remain == nullptr) {
        return 1;
    }
    const uint8_t *base = static_cast<const uint8_t *>(record);
    uint8_t *pos = *cursor;
    uint8_t *const limit = pos + *remain;
    for (const GpbField *row = table.fields, *end = table.fields + table.count; row != end; ++row) {
        uint64_t value;
        uint32_t written;
        if (IntegerAt(base, *row, &value)) {
            if (static_cast<size_t>(limit - pos) >= kMaxIntegerField) {
                /* Any integer field fits: no need to measure it first. */
                for (uint32_t k = 0; k < row->keyLength; ++k) {
                    pos[k] = row->key[k];
                }
                pos = IFM_GPB_PutVarInt(pos + row->keyLength, value);
                continue;
            }
            written = IFM_GPB_PutIntegerType(pos, static_cast<uint32_t>(limit - pos), row->number, value);
        } else {
            written = IFM_GPB_StringRowWrite(*row, base, pos, static_cast<uint32_t>(limit - pos));
        }
        if (written == 0) {
            /* The remaining length keeps what the fields before took; the cursor stays put. */
            *remain = static_cast<uint32_t>(limit - pos);
            return 1;
        }
        pos += written;
    }
    *cursor = pos;
    *remain = static_cast<uint32_t>(limit - pos);
    return 0;
}
