/* GPB (protocol buffers wire format) primitives: sizing, writing and reading fields, and the
 * field tables that drive both the sizing and the writing of a message level. */
#ifndef ZOR_IFM_GPB_H
#define ZOR_IFM_GPB_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

enum GpbFieldKind : int32_t {
    GPB_KIND_INTEGER = 1, /* wire type 0 */
    GPB_KIND_STRING = 2,  /* wire type 2 */
    GPB_KIND_NODE = 3,    /* wire type 2, header only */
    GPB_KIND_NONE = 4,    /* nothing is written */
};

/* Sizing. Defined here so that every encoder's sizing pass inlines them. */

/* Bytes of the varint of `value`: 7 bits per byte, 1 to 10. */
constexpr uint32_t IFM_GPB_GetValueSizeOfInteger(uint64_t value)
{
    /* Significant bits (1 for the values 0 and 1), rounded up to groups of 7: (9 * bits + 64) / 64
     * equals ceil(bits / 7) for every bits from 1 to 64. */
    const uint32_t bits = 64u - static_cast<uint32_t>(__builtin_clzll(value | 1u));
    return (bits * 9u + 64u) / 64u;
}

/* Key value of a field: the number shifted in 64 bits (no field number overflows), wire type in
 * the three low bits. */
constexpr uint64_t IFM_GPB_KeyOf(uint32_t fieldNo, uint32_t wireType)
{
    return (static_cast<uint64_t>(fieldNo) << 3) | wireType;
}

/* The wire type only fills the three low bits and never changes the byte count of the key. */
inline uint32_t IFM_GPB_GetEncodingSizeOfType(uint32_t fieldNo)
{
    return IFM_GPB_GetValueSizeOfInteger(IFM_GPB_KeyOf(fieldNo, 0));
}

inline uint32_t IFM_GPB_GetEncodingSizeOfIntegerType(uint32_t fieldNo, uint64_t value)
{
    return IFM_GPB_GetEncodingSizeOfType(fieldNo) + IFM_GPB_GetValueSizeOfInteger(value);
}

inline uint32_t IFM_GPB_GetEncodingSizeOfStringType(uint32_t fieldNo, uint32_t length)
{
    return IFM_GPB_GetEncodingSizeOfType(fieldNo) + IFM_GPB_GetValueSizeOfInteger(length) + length;
}

inline uint32_t IFM_GPB_GetEncodingSizeOfNodeType(uint32_t fieldNo, uint32_t contentLen)
{
    return IFM_GPB_GetEncodingSizeOfType(fieldNo) + IFM_GPB_GetValueSizeOfInteger(contentLen) + contentLen;
}

/* Writing: each returns the bytes written, 0 on failure; the caller advances its cursor. */
uint32_t IFM_GPB_EncodingWriteVarInt(uint64_t value, uint8_t *dest, uint32_t remain);
uint32_t IFM_GPB_EncodeType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, int32_t kind);
uint32_t IFM_GPB_EncodeIntegerType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, uint64_t value);
uint32_t IFM_GPB_EncodeStringType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, uint32_t length,
                                  const void *bytes);
uint32_t IFM_GPB_EncodeNodeType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, uint32_t contentLen);

/* Reading: each returns the bytes consumed, 0 on failure. */
uint32_t IFM_GPB_EncodingReadVarInt(uint64_t *value, const uint8_t *src, uint32_t srcLen);
uint32_t IFM_GPB_DecodeType(const uint8_t *src, uint32_t srcLen, uint32_t *fieldNo);
uint32_t IFM_GPB_DecodeStringType(const uint8_t *src, uint32_t srcLen, uint32_t *fieldNo, uint32_t *strLen,
                                  uint8_t *dest);

/* ---- Direct writing ----
 * The same bytes as the writers above, for the hot paths: the size of the whole field is checked
 * against the remaining length first, then the bytes are stored directly (no bounded copy, no
 * call per byte). Each returns the bytes written, 0 when the field does not fit (then nothing at
 * all is written). */

/* Stores the varint of `value` at `dest` without a bounds check; returns the end of it. */
constexpr uint8_t *IFM_GPB_PutVarInt(uint8_t *dest, uint64_t value)
{
    while (value >= 0x80u) {
        *dest++ = static_cast<uint8_t>(value | 0x80u);
        value >>= 7;
    }
    *dest++ = static_cast<uint8_t>(value);
    return dest;
}

/* Key and varint value of a field whose key is `key`; the header of a string or node when the
 * value is its length. */
inline uint32_t IFM_GPB_PutKeyAndVarInt(uint8_t *dest, uint32_t remain, uint64_t key, uint64_t value)
{
    const uint32_t keyBytes = IFM_GPB_GetValueSizeOfInteger(key);
    const uint32_t valueBytes = IFM_GPB_GetValueSizeOfInteger(value);
    const uint32_t n = keyBytes + valueBytes;
    if (n > remain) {
        return 0;
    }
    IFM_GPB_PutVarInt(IFM_GPB_PutVarInt(dest, key), value);
    return n;
}

/* Key with wire type 0 and the value's varint. */
inline uint32_t IFM_GPB_PutIntegerType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, uint64_t value)
{
    return IFM_GPB_PutKeyAndVarInt(dest, remain, IFM_GPB_KeyOf(fieldNo, 0), value);
}

/* Key with wire type 2 and the content length: the header of a nested message. */
inline uint32_t IFM_GPB_PutNodeType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, uint32_t contentLen)
{
    return IFM_GPB_PutKeyAndVarInt(dest, remain, IFM_GPB_KeyOf(fieldNo, 2), contentLen);
}

/* Key with wire type 2, the length, then the bytes. */
inline uint32_t IFM_GPB_PutStringType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, uint32_t length,
                                      const void *bytes)
{
    const uint64_t key = IFM_GPB_KeyOf(fieldNo, 2);
    const uint32_t header = IFM_GPB_GetValueSizeOfInteger(key) + IFM_GPB_GetValueSizeOfInteger(length);
    if (header > remain || remain - header < length) {
        return 0;
    }
    uint8_t *text = IFM_GPB_PutVarInt(IFM_GPB_PutVarInt(dest, key), length);
    if (length != 0) {
        std::memcpy(text, bytes, length);
    }
    return header + length;
}

/* Moves the cursor over the `written` bytes of a write step; false when the step wrote nothing. */
inline bool IFM_GPB_Advance(uint32_t written, uint8_t **cursor, uint32_t *remain)
{
    if (written == 0) {
        return false;
    }
    *cursor += written;
    *remain -= written;
    return true;
}

/* Writes a node header at the cursor and moves past it; false when it does not fit. */
inline bool IFM_GPB_PutNode(uint8_t **cursor, uint32_t *remain, uint32_t fieldNo, uint32_t contentLen)
{
    return IFM_GPB_Advance(IFM_GPB_PutNodeType(*cursor, *remain, fieldNo, contentLen), cursor, remain);
}

/* Percent text of a use rate: "%.2f" then "%", in a zeroed 32-byte buffer. Returns its length. */
#define IFM_PERCENT_TEXT_LEN 32u
uint32_t IFM_FormatPercent(double value, char (&text)[IFM_PERCENT_TEXT_LEN]);
/* The same text and length as IFM_FormatPercent, without the formatted print for use rates
 * (finite, not negative, below 2^53; other values go through IFM_FormatPercent). Only the text
 * and its terminator are written. */
uint32_t IFM_FormatPercentFast(double value, char (&text)[IFM_PERCENT_TEXT_LEN]);
/* The length of that text without writing it (the sizing pass needs no more). */
uint32_t IFM_PercentTextLength(double value);

/* ---- Field tables ----
 * One row per field of a message level, in wire order. The same rows drive the sizing pass, the
 * writing pass and the JSON members, so the three can never disagree. */
enum class GpbValue : uint8_t {
    U64,     /* uint64_t at offset, varint */
    U32,     /* uint32_t at offset, varint */
    Text,    /* char[capacity] at offset, string up to the first NUL (at most capacity bytes) */
    Percent, /* double at offset, percent text as a string */
};

/* Rows are written as {number, value, offset, capacity, jsonName}; the constructor adds the
 * field's key in wire form, so that neither pass computes it per record. */
struct GpbField {
    uint32_t number;
    GpbValue value;
    uint8_t keyLength; /* bytes of the key: 1 to 5 */
    uint16_t offset;
    uint16_t capacity;    /* Text only */
    uint8_t key[6];       /* the key's varint (wire type 0 for integers, 2 for strings), then zeros */
    const char *jsonName; /* JSON member name; null = the field is carried in GPB only */

    constexpr GpbField(uint32_t fieldNumber, GpbValue kind, uint16_t fieldOffset, uint16_t textCapacity,
                       const char *memberName)
        : number(fieldNumber), value(kind), keyLength(0), offset(fieldOffset), capacity(textCapacity), key{},
          jsonName(memberName)
    {
        const bool integer = kind == GpbValue::U64 || kind == GpbValue::U32;
        keyLength = static_cast<uint8_t>(IFM_GPB_PutVarInt(key, IFM_GPB_KeyOf(fieldNumber, integer ? 0u : 2u)) - key);
    }
};

struct GpbTable {
    const GpbField *fields;
    uint32_t count;
};

template <size_t N> constexpr GpbTable IFM_GpbTable(const GpbField (&rows)[N])
{
    return GpbTable{rows, static_cast<uint32_t>(N)};
}

/* Content size of one level of `record` as the table writes it. */
uint32_t IFM_GPB_TableSize(const GpbTable &table, const void *record);
/* Writes the level's fields at *cursor; advances *cursor and lowers *remain over what was written.
 * 0 = every field written, 1 = a field did not fit (the cursor then stays where it was; the
 * remaining length is lowered by the fields written before). */
uint32_t IFM_GPB_TableWrite(const GpbTable &table, const void *record, uint8_t **cursor, uint32_t *remain);

/* A string row (Text or Percent) of `record`: its size, and its writing within `remain` (0 when
 * it does not fit). */
uint32_t IFM_GPB_StringRowSize(const GpbField &row, const void *record);
uint32_t IFM_GPB_StringRowWrite(const GpbField &row, const void *record, uint8_t *dest, uint32_t remain);

/* ---- Field tables expanded at compile time ----
 * IFM_GPB_TableSizeOf<table> and IFM_GPB_TableWriteOf<table> return exactly what IFM_GPB_TableSize
 * and IFM_GPB_TableWrite return for the same table, which must be a constexpr GpbTable of static
 * storage. The rows become straight-line code: the keys are constants, the size of the keys is
 * one constant, and when the remaining length holds the longest possible level the fields are
 * written without any check per field. With less room the level goes through IFM_GPB_TableWrite. */
namespace ifm_gpb_table {

/* Most bytes a row can take: its key and the longest value of its kind. */
constexpr uint32_t RowBound(const GpbField &row)
{
    switch (row.value) {
    case GpbValue::U64:
        return row.keyLength + 10u;
    case GpbValue::U32:
        return row.keyLength + 5u;
    case GpbValue::Text:
        return row.keyLength + IFM_GPB_GetValueSizeOfInteger(row.capacity) + row.capacity;
    case GpbValue::Percent:
        return row.keyLength + 1u + (IFM_PERCENT_TEXT_LEN - 1u);
    }
    return 0;
}

constexpr bool IsInteger(const GpbField &row) { return row.value == GpbValue::U64 || row.value == GpbValue::U32; }

template <const GpbTable &Table, size_t... I> constexpr uint32_t Bound(std::index_sequence<I...>)
{
    return (0u + ... + RowBound(Table.fields[I]));
}

/* Sum of the keys of the integer rows. */
template <const GpbTable &Table, size_t... I> constexpr uint32_t IntegerKeys(std::index_sequence<I...>)
{
    return (0u + ... + (IsInteger(Table.fields[I]) ? Table.fields[I].keyLength : 0u));
}

template <const GpbTable &Table, size_t I> inline uint64_t IntegerAt(const uint8_t *record)
{
    constexpr const GpbField &row = Table.fields[I];
    if constexpr (row.value == GpbValue::U64) {
        uint64_t value;
        std::memcpy(&value, record + row.offset, sizeof(value));
        return value;
    } else {
        uint32_t value;
        std::memcpy(&value, record + row.offset, sizeof(value));
        return value;
    }
}

/* A row's size without its key if it is an integer (those keys are added as one constant). */
template <const GpbTable &Table, size_t I> inline uint32_t RowSize(const uint8_t *record)
{
    constexpr const GpbField &row = Table.fields[I];
    if constexpr (IsInteger(row)) {
        return IFM_GPB_GetValueSizeOfInteger(IntegerAt<Table, I>(record));
    } else {
        return IFM_GPB_StringRowSize(row, record);
    }
}

/* Writes a row that is known to fit; returns the end of it. */
template <const GpbTable &Table, size_t I> inline uint8_t *RowPut(const uint8_t *record, uint8_t *pos)
{
    constexpr const GpbField &row = Table.fields[I];
    if constexpr (IsInteger(row)) {
        for (uint32_t k = 0; k < row.keyLength; ++k) {
            pos[k] = row.key[k];
        }
        return IFM_GPB_PutVarInt(pos + row.keyLength, IntegerAt<Table, I>(record));
    } else {
        return pos + IFM_GPB_StringRowWrite(row, record, pos, RowBound(row));
    }
}

template <const GpbTable &Table, size_t... I>
inline uint32_t Size(const uint8_t *record, std::index_sequence<I...>)
{
    return IntegerKeys<Table>(std::index_sequence<I...>{}) + (0u + ... + RowSize<Table, I>(record));
}

template <const GpbTable &Table, size_t... I>
inline uint8_t *Put(const uint8_t *record, uint8_t *pos, std::index_sequence<I...>)
{
    ((pos = RowPut<Table, I>(record, pos)), ...);
    return pos;
}

} // namespace ifm_gpb_table

template <const GpbTable &Table> inline uint32_t IFM_GPB_TableSizeOf(const void *record)
{
    return ifm_gpb_table::Size<Table>(static_cast<const uint8_t *>(record), std::make_index_sequence<Table.count>{});
}

template <const GpbTable &Table>
inline uint32_t IFM_GPB_TableWriteOf(const void *record, uint8_t **cursor, uint32_t *remain)
{
    constexpr uint32_t bound = ifm_gpb_table::Bound<Table>(std::make_index_sequence<Table.count>{});
    if (cursor == nullptr || *cursor == nullptr || remain == nullptr || *remain < bound) {
        return IFM_GPB_TableWrite(Table, record, cursor, remain);
    }
    uint8_t *const start = *cursor;
    uint8_t *const end =
        ifm_gpb_table::Put<Table>(static_cast<const uint8_t *>(record), start, std::make_index_sequence<Table.count>{});
    *remain -= static_cast<uint32_t>(end - start);
    *cursor = end;
    return 0;
}

#endif
