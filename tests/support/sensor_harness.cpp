#include "support/sensor_harness.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cstring>

#include "ifm.pb.h"
#include "oc_interfaces.pb.h"

namespace {

std::string Dashed(std::string s)
{
    std::replace(s.begin(), s.end(), '_', '-');
    return s;
}

// The members of a message's node, by reflection; false when a field the model does not know is set.
bool Flatten(const google::protobuf::Message &m, Members &out)
{
    const auto *refl = m.GetReflection();
    if (!refl->GetUnknownFields(m).empty()) {
        return false;
    }
    const auto *d = m.GetDescriptor();
    for (int i = 0; i < d->field_count(); ++i) {
        const auto *f = d->field(i);
        if (f->cpp_type() == google::protobuf::FieldDescriptor::CPPTYPE_STRING) {
            out[Dashed(f->name())] = refl->GetString(m, f);
        } else if (!f->is_repeated() && f->cpp_type() == google::protobuf::FieldDescriptor::CPPTYPE_UINT64) {
            out[Dashed(f->name())] = std::to_string(refl->GetUInt64(m, f));
        }
    }
    return true;
}

bool DecodeGpb(const std::string &data, const char *node, Records &out)
{
    if (node == nullptr) {
        zor::oc::Interfaces msg;
        if (!msg.ParseFromString(data) || !msg.GetReflection()->GetUnknownFields(msg).empty()) {
            return false;
        }
        for (const auto &i : msg.interface()) {
            for (const auto &s : i.subinterfaces().subinterface()) {
                Members m;
                if (!Flatten(s.state().counters(), m) || s.state().index_size() != 2) {
                    return false;
                }
                out.emplace_back(i.name() + "." + std::to_string(s.index()), std::move(m));
            }
        }
        return true;
    }
    zor::ifm::Ifm msg;
    if (!msg.ParseFromString(data)) {
        return false;
    }
    std::string field = node;
    std::replace(field.begin(), field.end(), '-', '_');
    const auto *nodeField = zor::ifm::Interface::descriptor()->FindFieldByName(field);
    for (const auto &entry : msg.interfaces()) {
        const zor::ifm::Interface &iface = entry.interface();
        Members m;
        if (!iface.GetReflection()->HasField(iface, nodeField) ||
            !Flatten(iface.GetReflection()->GetMessage(iface, nodeField), m)) {
            return false;
        }
        out.emplace_back(iface.name(), std::move(m));
    }
    return true;
}

// Members of a JSON object whose values are all strings.
bool StringMembers(const cJSON *object, Members &out)
{
    const cJSON *member = nullptr;
    cJSON_ArrayForEach(member, object)
    {
        if (!cJSON_IsString(member)) {
            return false;
        }
        out[member->string] = member->valuestring;
    }
    return cJSON_IsObject(object);
}

bool DecodeJsonTree(const cJSON *root, const char *node, Records &out)
{
    if (node == nullptr) {
        const cJSON *ifs = cJSON_GetObjectItem(cJSON_GetObjectItem(root, "interfaces"), "interface");
        const cJSON *el = nullptr;
        cJSON_ArrayForEach(el, ifs)
        {
            const cJSON *name = cJSON_GetObjectItem(el, "name");
            const cJSON *sub = nullptr;
            cJSON_ArrayForEach(sub, cJSON_GetObjectItem(cJSON_GetObjectItem(el, "subinterfaces"), "subinterface"))
            {
                Members m;
                const cJSON *index = cJSON_GetObjectItem(sub, "index");
                if (!cJSON_IsString(name) || !cJSON_IsNumber(index) ||
                    !StringMembers(cJSON_GetObjectItem(cJSON_GetObjectItem(sub, "state"), "counters"), m)) {
                    return false;
                }
                out.emplace_back(std::string(name->valuestring) + "." + std::to_string(index->valueint), std::move(m));
            }
        }
        return cJSON_IsArray(ifs);
    }
    const cJSON *array =
        cJSON_GetObjectItem(cJSON_GetObjectItem(cJSON_GetObjectItem(root, "ifm"), "interfaces"), "interface");
    const cJSON *item = nullptr;
    cJSON_ArrayForEach(item, array)
    {
        // "name" first, then the statistics node, nothing else.
        const cJSON *name = item->child;
        Members m;
        if (name == nullptr || std::strcmp(name->string, "name") != 0 || !cJSON_IsString(name) ||
            name->next == nullptr || std::strcmp(name->next->string, node) != 0 || name->next->next != nullptr ||
            !StringMembers(name->next, m)) {
            return false;
        }
        out.emplace_back(name->valuestring, std::move(m));
    }
    return cJSON_IsArray(array);
}

} // namespace

bool DecodeUpload(const std::string &data, const char *node, Records &out)
{
    if (data.empty() || data[0] != '{') {
        return DecodeGpb(data, node, out);
    }
    const char *end = nullptr;
    cJSON *root = cJSON_ParseWithLengthOpts(data.data(), data.size(), &end, false);
    const bool ok = root != nullptr && end == data.data() + data.size() && DecodeJsonTree(root, node, out);
    cJSON_Delete(root);
    return ok;
}

void DecodeIfm(const std::string &data, const std::string &node, Reported &out, bool unique)
{
    Records records;
    ASSERT_TRUE(DecodeUpload(data, node.c_str(), records)) << data;
    for (Record &r : records) {
        EXPECT_TRUE(out.emplace(r.first, std::move(r.second)).second || !unique) << r.first;
    }
}

void SensorTest::SetUp()
{
    PluginTest::SetUp();
    standin::SetRegHandler([this](uint32_t, const char *, const TlmSensorReg *reg) {
        sensors_[reg->sensorName] = *reg;
        return 0u;
    });
    standin::SetUploadHandler([this](uint32_t, const SampleData *s) {
        uploads_.push_back({*s, std::string(reinterpret_cast<const char *>(s + 1), s->dataLen)});
        return 0u;
    });
}

void SensorTest::TearDown()
{
    for (uint32_t id : std::set<uint32_t>(running_)) {
        Stop(id);
    }
    PluginTest::TearDown();
}

void SensorTest::Start(uint32_t boardType, const char *sensor)
{
    standin::SetBoardType(boardType);
    ASSERT_EQ(IFMPlugin_MDTLM_Init(7), 0u);
    ASSERT_EQ(sensors_.count(sensor), 1u) << sensor << " not registered on board " << boardType;
}

const std::vector<Upload> &SensorTest::Tick(const char *sensor, uint32_t taskId, TlmTaskInfo cfg, uint32_t cookie)
{
    uploads_.clear();
    running_.insert(taskId);
    EXPECT_EQ(sensors_.at(sensor).taskProc(cookie, taskId, &cfg), 0u);
    return uploads_;
}

Reported SensorTest::TickIfm(const char *sensor, const std::string &node, uint32_t taskId, TlmTaskInfo cfg,
                             bool unique)
{
    Reported r;
    for (const Upload &u : Tick(sensor, taskId, cfg, 0xC0C0 + taskId)) {
        EXPECT_EQ(u.header.taskId, taskId);
        EXPECT_EQ(u.header.frmCookie, 0xC0C0 + taskId);
        EXPECT_EQ(u.header.timestampMs, u.header.timestampMs2);
        DecodeIfm(u.data, node, r, unique);
    }
    return r;
}

void SensorTest::Stop(uint32_t taskId)
{
    running_.erase(taskId);
    EXPECT_EQ(sensors_.begin()->second.stopProc(0, taskId), 0u);
}

TlmTaskInfo SensorTest::Cfg(uint32_t encodeType, uint32_t suppress, uint32_t period)
{
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    cfg.encodeType = encodeType;
    cfg.suppressRedundant = suppress;
    cfg.reportPeriod = period;
    return cfg;
}
