/* GPB primitives: varint and key sizing, field writers and the key/string readers.
 *
 * Every writer takes the cursor and the remaining length by value and returns the bytes it
 * wrote (0 = did not fit or nothing to write); moving the cursor is the caller's business. The
 * sizing functions are inline in the header. */
#include "encoding/gpb.h"

#include <algorithm>

#include "platform/platform.h"

namespace {

constexpr uint32_t kMaxVarIntBytes = 10;
constexpr uint32_t kWireTypeVarInt = 0;
constexpr uint32_t kWireTypeLengthDelimited = 2;

} // namespace

uint32_t IFM_GPB_EncodingWriteVarInt(uint64_t value, uint8_t *dest, uint32_t remain)
{
    uint8_t scratch[kMaxVarIntBytes];
    const uint32_t n = static_cast<uint32_t>(IFM_GPB_PutVarInt(scratch, value) - scratch);
    if (n > remain) {
        return 0;
    }
    if (memcpy_s(dest, remain, scratch, n) != 0) {
        MDTLM_WriteLog(2, "gpbencode WriteVarInt:memcpy_s error. bufLen = %d , step = %d ", static_cast<int>(remain),
                       static_cast<int>(n));
    }
    return n;
}

uint32_t IFM_GPB_EncodeType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, int32_t kind)
{
    uint64_t key;
    switch (kind) {
    case GPB_KIND_INTEGER:
        key = IFM_GPB_KeyOf(fieldNo, kWireTypeVarInt);
        break;
    case GPB_KIND_STRING:
    case GPB_KIND_NODE:
        key = IFM_GPB_KeyOf(fieldNo, kWireTypeLengthDelimited);
        break;
    default: /* GPB_KIND_NONE writes nothing */
        return 0;
    }
    return IFM_GPB_EncodingWriteVarInt(key, dest, remain);
}

namespace {

/* Key of `kind` and the varint of `value`: a whole integer field, or the header of a string or
 * node when the value is its length. 0 when either part does not fit. */
uint32_t EncodeKeyAndVarInt(uint8_t *dest, uint32_t remain, uint32_t fieldNo, int32_t kind, uint64_t value)
{
    const uint32_t k = IFM_GPB_EncodeType(dest, remain, fieldNo, kind);
    if (k == 0) {
        return 0;
    }
    const uint32_t v = IFM_GPB_EncodingWriteVarInt(value, dest + k, remain - k);
    return v == 0 ? 0 : k + v;
}

} // namespace

uint32_t IFM_GPB_EncodeIntegerType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, uint64_t value)
{
    return EncodeKeyAndVarInt(dest, remain, fieldNo, GPB_KIND_INTEGER, value);
}

uint32_t IFM_GPB_EncodeStringType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, uint32_t length,
                                  const void *bytes)
{
    const uint32_t header = EncodeKeyAndVarInt(dest, remain, fieldNo, GPB_KIND_STRING, length);
    if (header == 0 || length == 0) {
        return header;
    }
    const uint32_t room = remain - header;
    if (room < length) {
        return 0;
    }
    if (memcpy_s(dest + header, room, bytes, length) != 0) {
        MDTLM_WriteLog(2, "IFM_GPB_EncodeStringType:memcpy_s error.");
    }
    return header + length;
}

uint32_t IFM_GPB_EncodeNodeType(uint8_t *dest, uint32_t remain, uint32_t fieldNo, uint32_t contentLen)
{
    return EncodeKeyAndVarInt(dest, remain, fieldNo, GPB_KIND_NODE, contentLen);
}

uint32_t IFM_GPB_EncodingReadVarInt(uint64_t *value, const uint8_t *src, uint32_t srcLen)
{
    if (srcLen == 0) {
        return 0;
    }
    const uint32_t limit = std::min(srcLen, kMaxVarIntBytes);
    uint64_t result = 0;
    uint32_t n = 0;
    uint8_t byte;
    do {
        byte = src[n];
        /* Group n lands at bit 7n; of the tenth group only its lowest bit fits in 64 bits. */
        result |= static_cast<uint64_t>(byte & 0x7Fu) << (7u * n);
        ++n;
    } while ((byte & 0x80u) != 0 && n < limit);

    if ((byte & 0x80u) != 0) {
        return 0; /* truncated, or longer than ten bytes */
    }
    *value = result;
    return n;
}

uint32_t IFM_GPB_DecodeType(const uint8_t *src, uint32_t srcLen, uint32_t *fieldNo)
{
    uint64_t key = 0;
    const uint32_t n = IFM_GPB_EncodingReadVarInt(&key, src, srcLen);
    *fieldNo = static_cast<uint32_t>(key >> 3);
    return n;
}

uint32_t IFM_GPB_DecodeStringType(const uint8_t *src, uint32_t srcLen, uint32_t *fieldNo, uint32_t *strLen,
                                  uint8_t *dest)
{
    const uint32_t k = IFM_GPB_DecodeType(src, srcLen, fieldNo);
    if (k == 0) {
        return 0;
    }
    uint64_t length64 = 0;
    const uint32_t l = IFM_GPB_EncodingReadVarInt(&length64, src + k, srcLen - k);
    const uint32_t length = static_cast<uint32_t>(length64);
    *strLen = length;
    if (l == 0) {
        return 0;
    }
    if (length == 0) {
        return k + l;
    }
    if (length > srcLen - k - l) {
        return 0;
    }
    if (memcpy_s(dest, length, src + k + l, length) != 0) {
        MDTLM_WriteLog(2, "IFM_GPB_DecodeStringType:memcpy_s error.");
    }
    return k + l + length;
}
