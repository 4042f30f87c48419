/* Thin layer over cJSON used by every JSON encoder of the plugin. Counters go into the document as
 * strings of decimal digits and use rates as "%.2f%" texts; printed documents are handed back as
 * copies in framework memory. cJSON's own allocations never leave this file. */
#include "encoding/json.h"

#include <cstring>

#include "encoding/number_text.h"
#include "platform/platform.h"
#include "core/frm_buffer.h"

namespace {
constexpr uint32_t kNumberTextLen = 32;
}

cJSON *IFM_JSON_AllocObject() { return cJSON_CreateObject(); }

cJSON *IFM_JSON_AllocArray() { return cJSON_CreateArray(); }

cJSON *IFM_JSON_ObjectAddObject(cJSON *object, const char *name) { return cJSON_AddObjectToObject(object, name); }

cJSON *IFM_JSON_ObjectAddArray(cJSON *object, const char *name) { return cJSON_AddArrayToObject(object, name); }

cJSON *IFM_JSON_ObjectAddNumber(cJSON *object, const char *name, double value)
{
    return cJSON_AddNumberToObject(object, name, value);
}

cJSON *IFM_JSON_ObjectAddString(cJSON *object, const char *name, const char *value, uint32_t valueSize)
{
    (void)valueSize; /* cJSON copies up to the terminator */
    return cJSON_AddStringToObject(object, name, value);
}

cJSON_bool IFM_JSON_AddItemToObject(cJSON *object, const char *name, cJSON *item)
{
    return cJSON_AddItemToObject(object, name, item);
}

cJSON_bool IFM_JSON_AddItemToArray(cJSON *array, cJSON *item) { return cJSON_AddItemToArray(array, item); }

void IFM_JSON_NodeFree(cJSON *item)
{
    if (item != nullptr) {
        cJSON_Delete(item);
    }
}

void IFM_JSON_Free(void *text)
{
    if (text != nullptr) {
        cJSON_free(text);
    }
}

cJSON *IFM_JSON_ObjectAddUINT64(cJSON *object, const char *name, uint64_t value)
{
    char text[kNumberTextLen];
    (void)memset_s(text, sizeof(text), 0, sizeof(text));
    (void)snprintf_truncated_s(text, sizeof(text), "%llu", static_cast<unsigned long long>(value));
    return IFM_JSON_ObjectAddString(object, name, text, kNumberTextLen);
}

cJSON *IFM_JSON_ObjectAddDOUBLPercent(cJSON *object, const char *name, double value)
{
    char text[IFM_PERCENT_TEXT_LEN];
    (void)IFM_FormatPercent(value, text);
    return IFM_JSON_ObjectAddString(object, name, text, IFM_PERCENT_TEXT_LEN);
}

char *IFM_StrDup(const char *text, uint64_t *length)
{
    if (text == nullptr) {
        return nullptr;
    }
    const size_t n = strlen(text);
    FrmBuffer copy(static_cast<uint32_t>(n + 1));
    if (!copy) {
        return nullptr;
    }
    char *dest = copy.as<char>();
    if (strcpy_s(dest, n + 1, text) != 0) {
        MDTLM_WriteLog(2, "IFM_StrDup:strcpy_s error.");
    }
    dest[n] = '\0';
    if (length != nullptr) {
        *length = n;
    }
    return static_cast<char *>(copy.release());
}

namespace {

/* Prints `root` unformatted into framework memory; the copy's length goes to *length if wanted. */
char *PrintCopy(const cJSON *root, uint64_t *length)
{
    if (root == nullptr) {
        return nullptr;
    }
    char *printed = cJSON_PrintUnformatted(root);
    if (printed == nullptr) {
        return nullptr;
    }
    char *copy = IFM_StrDup(printed, length);
    IFM_JSON_Free(printed);
    return copy;
}

} // namespace

char *IFM_JSON_EncodeUnformatted(const cJSON *root) { return PrintCopy(root, nullptr); }

uint32_t IFM_JSON_HandOut(cJSON *root, uint8_t **out, uint32_t *outLen)
{
    uint64_t length = 0; /* measured once, by the copy */
    char *text = PrintCopy(root, &length);
    IFM_JSON_NodeFree(root);
    if (text == nullptr) {
        return 1;
    }
    /* A copy whose bounded copy was refused holds no document (a printed one never starts with
     * NUL): it is no message to send. */
    if (length != 0 && text[0] == '\0') {
        MDTLM_FreeBuff(text);
        return 1;
    }
    *out = reinterpret_cast<uint8_t *>(text);
    *outLen = static_cast<uint32_t>(length);
    return 0;
}

namespace {

/* Adds a string member whose name is a table's member name: a string constant that outlives every
 * document, so cJSON keeps the pointer instead of copying the name (the printed text is the same). */
cJSON *AddConstNameString(cJSON *object, const char *name, const char *value)
{
    cJSON *item = cJSON_CreateString(value);
    if (item == nullptr) {
        return nullptr;
    }
    if (!cJSON_AddItemToObjectCS(object, name, item)) {
        cJSON_Delete(item);
        return nullptr;
    }
    return item;
}

/* A Text row whose field fills its whole capacity has no terminator; cJSON needs one, so such a
 * text goes through a terminated copy in framework memory. */
cJSON *AddTextMember(cJSON *object, const GpbField &row, const char *text)
{
    const size_t length = strnlen(text, row.capacity);
    if (length < row.capacity) {
        return AddConstNameString(object, row.jsonName, text);
    }
    FrmBuffer copy(static_cast<uint32_t>(length) + 1u);
    if (!copy) {
        return nullptr;
    }
    if (length != 0) {
        (void)memcpy_s(copy.get(), length + 1, text, length);
    }
    return AddConstNameString(object, row.jsonName, copy.as<char>());
}

/* The number texts of one IFM_JSON_TableAdd call (counters as "%llu" prints them, use rates as
 * "%.2f%"), side by side in one block from cJSON's allocator. The member of the first text owns
 * the block: cJSON frees it with that member. The other members only refer to their text
 * (cJSON_IsReference), so the table costs one allocation for all its texts instead of one per
 * member. The block lives as long as the tree: the encoders print and delete their documents as
 * a whole and never detach a member. */
class NumberTexts {
public:
    /* Room for the texts of the number rows of `table`; taken at the first Add. */
    explicit NumberTexts(const GpbTable &table)
    {
        for (uint32_t i = 0; i < table.count; ++i) {
            const GpbField &row = table.fields[i];
            if (row.jsonName != nullptr && row.value != GpbValue::Text) {
                capacity_ += row.value == GpbValue::Percent ? IFM_PERCENT_TEXT_LEN : IFM_DECIMAL_MAX_DIGITS + 1u;
            }
        }
    }
    NumberTexts(const NumberTexts &) = delete;
    NumberTexts &operator=(const NumberTexts &) = delete;
    ~NumberTexts()
    {
        if (owner_ == nullptr) {
            cJSON_free(block_); /* no member took the block over */
        }
    }

    /* Adds the member `name` with the text of a counter or a use rate; null on failure. */
    cJSON *Add(cJSON *object, const char *name, const GpbField &row, const uint8_t *field)
    {
        if (block_ == nullptr && (block_ = static_cast<char *>(cJSON_malloc(capacity_))) == nullptr) {
            return nullptr;
        }
        char *text = block_ + used_;
        uint32_t length;
        if (row.value == GpbValue::Percent) {
            char percent[IFM_PERCENT_TEXT_LEN];
            double rate;
            std::memcpy(&rate, field, sizeof(rate));
            length = IFM_FormatPercentFast(rate, percent);
            std::memcpy(text, percent, length);
        } else {
            const uint64_t value = row.value == GpbValue::U64 ? *reinterpret_cast<const uint64_t *>(field)
                                                             : *reinterpret_cast<const uint32_t *>(field);
            length = IFM_FormatDecimal(value, text);
        }
        text[length] = '\0';
        cJSON *item = cJSON_CreateStringReference(text);
        if (item == nullptr) {
            return nullptr;
        }
        if (owner_ == nullptr) {
            item->type &= ~cJSON_IsReference; /* this member owns the block */
        }
        if (!cJSON_AddItemToObjectCS(object, name, item)) {
            if (owner_ == nullptr) {
                item->valuestring = nullptr; /* the block is not this item's: the destructor frees it */
            }
            cJSON_Delete(item);
            return nullptr;
        }
        if (owner_ == nullptr) {
            owner_ = item;
        }
        used_ += length + 1u;
        return item;
    }

private:
    uint32_t capacity_ = 0;
    uint32_t used_ = 0;
    char *block_ = nullptr;
    const cJSON *owner_ = nullptr;
};

} // namespace

uint32_t IFM_JSON_TableAdd(cJSON *object, const GpbTable &table, const void *record)
{
    if (object == nullptr || record == nullptr) {
        return 0;
    }
    const uint8_t *base = static_cast<const uint8_t *>(record);
    NumberTexts numbers(table);
    for (uint32_t i = 0; i < table.count; ++i) {
        const GpbField &row = table.fields[i];
        if (row.jsonName == nullptr) {
            continue; /* the field is carried in GPB only */
        }
        const uint8_t *field = base + row.offset;
        cJSON *member = row.value == GpbValue::Text
                            ? AddTextMember(object, row, reinterpret_cast<const char *>(field))
                            : numbers.Add(object, row.jsonName, row, field);
        if (member == nullptr) {
            return 0;
        }
    }
    return 1;
}
