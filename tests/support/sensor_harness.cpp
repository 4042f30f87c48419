#include "support/sensor_harness.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cstring>

#include "ifm.pb.h"

namespace {

std::string Dashed(std::string s)
{
    std::replace(s.begin(), s.end(), '_', '-');
    return s;
}

void DecodeGpb(const std::string &data, const std::string &node, Reported &out, bool unique)
{
    zor::ifm::Ifm msg;
    ASSERT_TRUE(msg.ParseFromString(data));
    std::string field = node;
    std::replace(field.begin(), field.end(), '-', '_');
    const auto *nodeField = zor::ifm::Interface::descriptor()->FindFieldByName(field);
    ASSERT_NE(nodeField, nullptr) << node;
    for (const auto &entry : msg.interfaces()) {
        const zor::ifm::Interface &iface = entry.interface();
        const auto *refl = iface.GetReflection();
        EXPECT_TRUE(refl->HasField(iface, nodeField)) << iface.name() << " lacks " << node;
        const google::protobuf::Message &stats = refl->GetMessage(iface, nodeField);
        const auto *d = stats.GetDescriptor();
        Members m;
        for (int i = 0; i < d->field_count(); ++i) {
            const auto *f = d->field(i);
            m[Dashed(f->name())] = f->cpp_type() == google::protobuf::FieldDescriptor::CPPTYPE_STRING
                                       ? stats.GetReflection()->GetString(stats, f)
                                       : std::to_string(stats.GetReflection()->GetUInt64(stats, f));
        }
        EXPECT_TRUE(out.emplace(iface.name(), std::move(m)).second || !unique) << iface.name();
    }
}

void DecodeJson(const std::string &data, const std::string &node, Reported &out, bool unique)
{
    cJSON *root = cJSON_Parse(data.c_str());
    ASSERT_NE(root, nullptr) << data;
    const cJSON *array =
        cJSON_GetObjectItem(cJSON_GetObjectItem(cJSON_GetObjectItem(root, "ifm"), "interfaces"), "interface");
    EXPECT_TRUE(cJSON_IsArray(array)) << data;
    const cJSON *item = nullptr;
    cJSON_ArrayForEach(item, array)
    {
        // "name" first, then the statistics node, nothing else.
        EXPECT_STREQ(item->child->string, "name");
        EXPECT_STREQ(item->child->next->string, node.c_str());
        EXPECT_EQ(item->child->next->next, nullptr);
        Members m;
        const cJSON *member = nullptr;
        cJSON_ArrayForEach(member, item->child->next)
        {
            m[member->string] = cJSON_IsString(member) ? member->valuestring : "(not a string)";
        }
        EXPECT_TRUE(out.emplace(cJSON_GetStringValue(item->child), std::move(m)).second || !unique);
    }
    cJSON_Delete(root);
}

} // namespace

void DecodeIfm(const std::string &data, const std::string &node, Reported &out, bool unique)
{
    if (!data.empty() && data[0] == '{') {
        DecodeJson(data, node, out, unique);
    } else {
        DecodeGpb(data, node, out, unique);
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

void SensorTest::FaultSweep(const char *sensor, const char *node, uint32_t taskId, const TlmTaskInfo &cfg,
                            std::initializer_list<const char *> functions, uint64_t maxNth, uint64_t maxAlloc)
{
    // Under faults the callback may refuse the tick; only leaks and broken messages count.
    auto faultyTick = [&](const std::string &what) {
        uploads_.clear();
        TlmTaskInfo copy = cfg;
        (void)sensors_.at(sensor).taskProc(0xC0C0, taskId, &copy);
        standin::store::ClearFaults();
        standin::ClearAllocFaults();
        Reported ignored;
        for (const Upload &u : uploads_) {
            EXPECT_EQ(u.header.dataLen, u.data.size()) << what;
            if (node != nullptr) {
                DecodeIfm(u.data, node, ignored, false);
            }
        }
    };
    Tick(sensor, taskId, cfg);
    const uint64_t base = standin::Alloc().outstandingBuffers; // the task's interface list and cache
    for (const char *fn : functions) {
        for (uint64_t nth = 1; nth <= maxNth; ++nth) {
            for (uint32_t code : {99u, DB_VALUE_ABSENT, DB_NO_RECORD}) {
                const std::string what = std::string(fn) + " #" + std::to_string(nth) + " code " + std::to_string(code);
                standin::store::InjectFault(fn, code, nth);
                faultyTick(what);
                ASSERT_EQ(standin::store::LiveObjects(), 0u) << what;
                ASSERT_EQ(standin::Alloc().outstandingBuffers, base) << what;
            }
        }
    }
    for (uint64_t nth = 1; nth <= maxAlloc; ++nth) {
        standin::FailAllocAt(nth);
        faultyTick("allocation #" + std::to_string(nth));
        ASSERT_EQ(standin::Alloc().outstandingBuffers, base) << "allocation #" << nth;
    }
}

TlmTaskInfo SensorTest::Cfg(uint32_t encodeType, uint32_t suppress, uint32_t period)
{
    TlmTaskInfo cfg = plugin_state::ZeroTaskInfo();
    cfg.encodeType = encodeType;
    cfg.suppressRedundant = suppress;
    cfg.reportPeriod = period;
    return cfg;
}
