// GPB primitives cross-checked against the standard protobuf library, and the two field-table
// engines (with the direct writers they are built on) against the primitives. The messages the sensors build are decoded with the
// message descriptions in the encoder and end-to-end tests.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/wire_format_lite.h>

#include "encoding/gpb.h"
#include "support/fixture.h"

namespace {

using Bytes = std::vector<uint8_t>;
using google::protobuf::io::CodedOutputStream;
using WFL = google::protobuf::internal::WireFormatLite;

Bytes Reference(const std::function<void(CodedOutputStream &)> &write)
{
    uint8_t buf[1024];
    size_t n;
    {
        google::protobuf::io::ArrayOutputStream stream(buf, sizeof(buf));
        CodedOutputStream out(&stream);
        write(out);
        n = static_cast<size_t>(out.ByteCount());
    }
    return Bytes(buf, buf + n);
}

const uint32_t kFieldNumbers[] = {1, 15, 16, 2047, 2048, 262143, 262144, 33554431, 33554432, 536870911};

class GpbTest : public PlatformTest {};

TEST_F(GpbTest, VarIntMatchesProtobufOverTheWholeRange)
{
    std::vector<uint64_t> values{0, UINT64_MAX};
    for (int k = 0; k < 64; ++k) {
        values.insert(values.end(), {(1ull << k) - 1, 1ull << k, (1ull << k) + 1});
    }
    std::mt19937_64 rng(20240611);
    for (int i = 0; i < 500; ++i) {
        values.push_back(rng() >> (rng() % 64));
    }
    for (uint64_t value : values) {
        const Bytes ref = Reference([&](CodedOutputStream &o) { o.WriteVarint64(value); });
        const uint32_t n = static_cast<uint32_t>(ref.size());
        ASSERT_EQ(IFM_GPB_GetValueSizeOfInteger(value), n) << value;
        uint8_t buf[12];
        memset(buf, 0xEE, sizeof(buf));
        ASSERT_EQ(IFM_GPB_EncodingWriteVarInt(value, buf, n - 1), 0u) << value;
        ASSERT_EQ(buf[0], 0xEE) << "nothing is written when the varint does not fit";
        ASSERT_EQ(IFM_GPB_EncodingWriteVarInt(value, buf, n), n) << value;
        ASSERT_EQ(Bytes(buf, buf + n), ref) << value;
        ASSERT_EQ(buf[n], 0xEE);
        uint64_t back = 0;
        ASSERT_EQ(IFM_GPB_EncodingReadVarInt(&back, buf, sizeof(buf)), n);
        ASSERT_EQ(back, value);
    }
}

TEST_F(GpbTest, FieldsMatchProtobufForEveryFieldNumberSize)
{
    for (uint32_t f : kFieldNumbers) {
        const Bytes lenKey =
            Reference([&](CodedOutputStream &o) { o.WriteTag(WFL::MakeTag(f, WFL::WIRETYPE_LENGTH_DELIMITED)); });
        uint8_t key[8];
        uint32_t decoded = 0;
        EXPECT_EQ(IFM_GPB_GetEncodingSizeOfType(f), lenKey.size());
        EXPECT_EQ(IFM_GPB_EncodeType(key, sizeof(key), f, GPB_KIND_NONE), 0u);
        ASSERT_EQ(IFM_GPB_EncodeType(key, sizeof(key), f, GPB_KIND_NODE), lenKey.size());
        EXPECT_EQ(Bytes(key, key + lenKey.size()), lenKey);
        EXPECT_EQ(IFM_GPB_DecodeType(key, sizeof(key), &decoded), lenKey.size());
        EXPECT_EQ(decoded, f);

        for (uint64_t value : {uint64_t{0}, uint64_t{128}, uint64_t{1} << 35, ~uint64_t{0}}) {
            const Bytes ref = Reference([&](CodedOutputStream &o) { WFL::WriteUInt64(f, value, &o); });
            const uint32_t n = static_cast<uint32_t>(ref.size());
            uint8_t buf[16];
            ASSERT_EQ(IFM_GPB_GetEncodingSizeOfIntegerType(f, value), n);
            EXPECT_EQ(IFM_GPB_EncodeIntegerType(buf, n - 1, f, value), 0u) << "key fits, value does not";
            ASSERT_EQ(IFM_GPB_EncodeIntegerType(buf, n, f, value), n);
            EXPECT_EQ(Bytes(buf, buf + n), ref);
        }
        for (uint32_t len : {0u, 1u, 128u, 300u}) {
            const std::string text(len, 'x');
            const Bytes ref = Reference([&](CodedOutputStream &o) { WFL::WriteString(f, text, &o); });
            const uint32_t n = static_cast<uint32_t>(ref.size());
            Bytes buf(n + 1, 0xEE);
            ASSERT_EQ(IFM_GPB_GetEncodingSizeOfStringType(f, len), n);
            EXPECT_EQ(IFM_GPB_EncodeStringType(buf.data(), n - 1, f, len, text.data()), 0u);
            ASSERT_EQ(IFM_GPB_EncodeStringType(buf.data(), n, f, len, text.data()), n);
            EXPECT_EQ(Bytes(buf.begin(), buf.begin() + n), ref);
            EXPECT_EQ(buf[n], 0xEE) << "no terminator";
            // The node header is the same key and length without the content.
            EXPECT_EQ(IFM_GPB_EncodeNodeType(buf.data(), n, f, len) + len, n);
            EXPECT_EQ(IFM_GPB_GetEncodingSizeOfNodeType(f, len), n);

            uint32_t field = 0, outLen = 0;
            Bytes out(len + 1, 0);
            ASSERT_EQ(IFM_GPB_DecodeStringType(ref.data(), n, &field, &outLen, out.data()), n);
            EXPECT_EQ(field, f);
            EXPECT_EQ(std::string(out.begin(), out.begin() + outLen), text);
            EXPECT_EQ(IFM_GPB_DecodeStringType(ref.data(), n - 1, &field, &outLen, out.data()), 0u);
        }
    }
    // The key is built in 64 bits: the largest u32 field number does not wrap.
    uint8_t buf[8];
    uint32_t decoded = 0;
    ASSERT_EQ(IFM_GPB_EncodeType(buf, sizeof(buf), UINT32_MAX, GPB_KIND_INTEGER), 5u);
    EXPECT_EQ(IFM_GPB_DecodeType(buf, sizeof(buf), &decoded), 5u);
    EXPECT_EQ(decoded, UINT32_MAX);
    ASSERT_EQ(IFM_GPB_EncodeNodeType(buf, sizeof(buf), 2, 300), 3u);
    EXPECT_EQ(Bytes(buf, buf + 3), (Bytes{0x12, 0xAC, 0x02}));
}

TEST_F(GpbTest, ReadersRefuseTruncatedAndOverlongVarIntsAndFailedCopiesAreLogged)
{
    const uint8_t eleven[11] = {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
    const uint8_t open[3] = {0x0A, 0x82, 0x83};
    uint64_t value = 42;
    uint32_t field = 99, len = 99;
    EXPECT_EQ(IFM_GPB_EncodingReadVarInt(&value, eleven, sizeof(eleven)), 0u);
    EXPECT_EQ(IFM_GPB_EncodingReadVarInt(&value, open + 1, 2), 0u);
    EXPECT_EQ(IFM_GPB_EncodingReadVarInt(&value, open, 0), 0u);
    EXPECT_EQ(value, 42u) << "a failed read leaves the result untouched";
    EXPECT_EQ(IFM_GPB_DecodeType(open + 1, 2, &field), 0u);
    EXPECT_EQ(field, 0u);
    EXPECT_EQ(IFM_GPB_DecodeStringType(open, sizeof(open), &field, &len, nullptr), 0u);
    EXPECT_EQ(len, 0u);
    // Bits above 63 in the tenth byte are dropped; what follows the varint is not read.
    const uint8_t wide[11] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0x80};
    EXPECT_EQ(IFM_GPB_EncodingReadVarInt(&value, wide, sizeof(wide)), 10u);
    EXPECT_EQ(value, UINT64_MAX);
    // A failed copy of a varint is logged with its step.
    EXPECT_EQ(IFM_GPB_EncodingWriteVarInt(300, nullptr, 5), 2u);
    EXPECT_EQ(standin::CountLog("gpbencode WriteVarInt:memcpy_s error. bufLen = 5 , step = 2 ", 2), 1u);
}

// ---- Field tables ----

Bytes TableBytes(const GpbTable &table, const void *record)
{
    Bytes out(IFM_GPB_TableSize(table, record));
    uint8_t *cursor = out.data();
    uint32_t remain = static_cast<uint32_t>(out.size());
    EXPECT_EQ(IFM_GPB_TableWrite(table, record, &cursor, &remain), 0u);
    EXPECT_EQ(remain, 0u);
    EXPECT_EQ(cursor, out.data() + out.size());
    return out;
}

// Every row kind and every key size (1 to 5 bytes) in one level, as a constant table so that the
// compile-time expansion of the engine can be checked against the run-time one.
struct Wide {
    uint64_t v[5];
    uint32_t small;
    char name[16];
    double use;
};

constexpr GpbField kWideRows[] = {
    {1, GpbValue::U64, offsetof(Wide, v), 0, nullptr},
    {15, GpbValue::U64, offsetof(Wide, v) + 8, 0, nullptr},
    {16, GpbValue::U32, offsetof(Wide, small), 0, nullptr},
    {2048, GpbValue::Text, offsetof(Wide, name), sizeof(Wide::name), nullptr},
    {262144, GpbValue::Percent, offsetof(Wide, use), 0, nullptr},
    {33554432, GpbValue::U64, offsetof(Wide, v) + 16, 0, nullptr},
    {UINT32_MAX, GpbValue::U64, offsetof(Wide, v) + 24, 0, nullptr},
    {2, GpbValue::U64, offsetof(Wide, v) + 32, 0, nullptr},
};
constexpr GpbTable kWideTable = IFM_GpbTable(kWideRows);

// The level written field by field with the primitives.
Bytes PrimitiveBytes(const Wide &w)
{
    Bytes out(512);
    uint32_t used = 0;
    for (const GpbField &row : kWideRows) {
        const auto remain = static_cast<uint32_t>(out.size()) - used;
        uint8_t *dest = out.data() + used;
        uint32_t n = 0;
        if (row.value == GpbValue::Text) {
            n = IFM_GPB_EncodeStringType(dest, remain, row.number, static_cast<uint32_t>(strnlen(w.name, 16)), w.name);
        } else if (row.value == GpbValue::Percent) {
            char text[IFM_PERCENT_TEXT_LEN];
            const uint32_t len = IFM_FormatPercent(w.use, text);
            n = IFM_GPB_EncodeStringType(dest, remain, row.number, len, text);
        } else {
            const uint64_t v = row.value == GpbValue::U32 ? w.small : w.v[(row.offset - offsetof(Wide, v)) / 8];
            n = IFM_GPB_EncodeIntegerType(dest, remain, row.number, v);
        }
        EXPECT_NE(n, 0u);
        used += n;
    }
    out.resize(used);
    return out;
}

TEST_F(GpbTest, TableEnginesWriteThePrimitivesBytes)
{
    std::mt19937_64 rng(7);
    for (int i = 0; i < 2000; ++i) {
        Wide w{};
        for (uint64_t &v : w.v) {
            v = rng() >> (rng() % 64);
        }
        w.small = static_cast<uint32_t>(rng() >> (rng() % 64));
        const size_t nameLen = rng() % 17; // 16: a full field without terminator
        for (size_t k = 0; k < nameLen; ++k) {
            w.name[k] = static_cast<char>('A' + rng() % 26);
        }
        w.use = i % 3 == 0 ? static_cast<double>(rng() % 801) / 8 : static_cast<double>(rng() % 100001) / 1000;

        const Bytes want = PrimitiveBytes(w);
        ASSERT_EQ(TableBytes(kWideTable, &w), want);
        const uint32_t size = IFM_GPB_TableSizeOf<kWideTable>(&w);
        ASSERT_EQ(size, want.size());

        // Ample room (no check per field) and exact room give the same bytes; nothing is
        // written past the level.
        for (uint32_t slack : {0u, 300u}) {
            Bytes buf(size + slack, 0xEE);
            uint8_t *cursor = buf.data();
            uint32_t remain = size + slack;
            ASSERT_EQ(IFM_GPB_TableWriteOf<kWideTable>(&w, &cursor, &remain), 0u);
            ASSERT_EQ(cursor, buf.data() + size);
            ASSERT_EQ(remain, slack);
            ASSERT_EQ(Bytes(buf.begin(), buf.begin() + size), want);
            ASSERT_EQ(std::count(buf.begin() + size, buf.end(), 0xEE), static_cast<long>(slack));
        }
        // Any room short of the level, wherever in a field it ends, fails both engines alike.
        Bytes buf(size);
        for (uint32_t room = 0; room < size; ++room) {
            uint8_t *c1 = buf.data(), *c2 = buf.data();
            uint32_t r1 = room, r2 = room;
            ASSERT_EQ(IFM_GPB_TableWrite(kWideTable, &w, &c1, &r1), 1u) << room;
            ASSERT_EQ(IFM_GPB_TableWriteOf<kWideTable>(&w, &c2, &r2), 1u) << room;
            ASSERT_TRUE(c1 == buf.data() && c2 == buf.data() && r1 == r2);
        }
    }
}

} // namespace
