/* GPB (protocol buffers wire format) primitives: sizing, writing and reading fields, and the
 * field tables that drive both the sizing and the writing of a message level. */
#ifndef ZOR_IFM_GPB_H
#define ZOR_IFM_GPB_H

#include <cstddef>
#include <cstdint>

enum GpbFieldKind : int32_t {
    GPB_KIND_INTEGER = 1, /* wire type 0 */
    GPB_KIND_STRING = 2,  /* wire type 2 */
    GPB_KIND_NODE = 3,    /* wire type 2, header only */
    GPB_KIND_NONE = 4,    /* nothing is written */
};

/* Sizing */
uint32_t IFM_GPB_GetValueSizeOfInteger(uint64_t value);
uint32_t IFM_GPB_GetEncodingSizeOfType(uint32_t fieldNo);
uint32_t IFM_GPB_GetEncodingSizeOfIntegerType(uint32_t fieldNo, uint64_t value);
uint32_t IFM_GPB_GetEncodingSizeOfStringType(uint32_t fieldNo, uint32_t length);
uint32_t IFM_GPB_GetEncodingSizeOfNodeType(uint32_t fieldNo, uint32_t contentLen);

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

/* Percent text of a use rate: "%.2f" then "%", in a zeroed 32-byte buffer. Returns its length. */
#define IFM_PERCENT_TEXT_LEN 32u
uint32_t IFM_FormatPercent(double value, char (&text)[IFM_PERCENT_TEXT_LEN]);

/* ---- Field tables ----
 * One row per field of a message level, in wire order. The same rows drive the sizing pass, the
 * writing pass and the JSON members, so the three can never disagree. */
enum class GpbValue : uint8_t {
    U64,     /* uint64_t at offset, varint */
    U32,     /* uint32_t at offset, varint */
    Text,    /* char[capacity] at offset, string up to the first NUL (at most capacity bytes) */
    Percent, /* double at offset, percent text as a string */
};

struct GpbField {
    uint32_t number;
    GpbValue value;
    uint16_t offset;
    uint16_t capacity; /* Text only */
    const char *jsonName; /* JSON member name; null = the field is carried in GPB only */
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
 * 0 = every field written, 1 = a field did not fit (the cursor then stays where it was). */
uint32_t IFM_GPB_TableWrite(const GpbTable &table, const void *record, uint8_t **cursor, uint32_t *remain);

#endif
