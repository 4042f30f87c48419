#include "fuzz_support.h"

#include <google/protobuf/stubs/logging.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

namespace fuzz {

namespace {

// Messages that do not parse are expected here; the library's complaints about them are noise.
[[maybe_unused]] const bool kProtobufQuiet = (google::protobuf::SetLogHandler(nullptr), true);

} // namespace

void ByteReader::Bytes(void *out, size_t size)
{
    auto *bytes = static_cast<uint8_t *>(out);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = U8();
    }
}

void Fail(const std::string &message)
{
    std::string shown;
    for (unsigned char c : message) {
        char hex[8];
        std::snprintf(hex, sizeof(hex), "\\x%02x", c);
        shown += (c >= 0x20 && c < 0x7F) || c == '\n' ? std::string(1, static_cast<char>(c)) : hex;
    }
    std::fprintf(stderr, "fuzz oracle failed: %s\n", shown.c_str());
    std::abort();
}

namespace {

bool UniqueMembers(const cJSON *item)
{
    std::set<std::string> names;
    for (const cJSON *c = item->child; c != nullptr; c = c->next) {
        if (cJSON_IsObject(item) && !names.insert(c->string != nullptr ? c->string : "").second) {
            return false;
        }
        if (!UniqueMembers(c)) {
            return false;
        }
    }
    return true;
}

} // namespace

JsonTree ParseStrictJson(const char *text, size_t length)
{
    if (length == 0 || std::memchr(text, '\0', length) != nullptr) {
        return JsonTree(nullptr, cJSON_Delete);
    }
    const char *end = nullptr;
    JsonTree root(cJSON_ParseWithLengthOpts(text, length, &end, 0), cJSON_Delete);
    if (root != nullptr && (end != text + length || !UniqueMembers(root.get()))) {
        root.reset();
    }
    return root;
}

} // namespace fuzz
