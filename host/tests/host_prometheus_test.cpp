// The Prometheus endpoint with the real tools, on loopback only: promtool accepts a scrape, and a
// Prometheus server that scrapes the host every second for about 30 s computes byte rates that agree
// with the plugin's own rates within 10 %.
#include <gtest/gtest.h>

#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cmath>

#include "host/metrics.h"
#include "host_test_support.h"

using namespace hosttest;

namespace {

// A small device at steady rates (run with --jitter 0).
const char *const kInventory = "board 6\nflow-interval 5\n"
                               "port GE1/0/1 speed=10G in=1G out=400M pkt=500\n"
                               "routed Vlanif10 in=80M out=40M pkt=1000\n";

int FreePort()
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    const bool ok = bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof(a)) == 0 &&
                    getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len) == 0;
    close(fd);
    return ok ? ntohs(a.sin_port) : 0;
}

// The value of one series in an exposition text; NaN when it is not there.
double Series(const std::string &text, const std::string &series)
{
    const size_t at = text.find("\n" + series + " ");
    return at == std::string::npos ? NAN : std::stod(text.substr(at + series.size() + 2));
}

// The first value of an instant query through Prometheus's HTTP API; NaN when there is none.
double Query(httplib::Client &prometheus, const std::string &query)
{
    const auto r = prometheus.Get("/api/v1/query", httplib::Params{{"query", query}}, httplib::Headers{});
    if (!r || r->status != 200) {
        return NAN;
    }
    const J result = J::Parse(r->body)["data"]["result"];
    return result.a.empty() ? NAN : std::stod(result.a[0]["value"].a[1].s);
}

} // namespace

TEST(HostPrometheus, PromtoolAcceptsAScrapeAndPrometheusRatesAgreeWithThePlugin)
{
    ASSERT_EQ(std::system("command -v promtool >/dev/null && command -v prometheus >/dev/null"), 0)
        << "promtool and prometheus come with Debian's prometheus package (scripts/deps.sh)";
    Child host({ZOR_HOST_BINARY, "--listen", "127.0.0.1:0", "--inventory", WriteFile("device.txt", kInventory),
                "--jitter", "0", "--sub", "common 1s", "--sub", "ipstat 1s encoding=json", "--duration", "70s",
                "--output", "/dev/null", "--quiet"},
               "zor_host");
    int hostPort = 0;
    ASSERT_TRUE(WaitFor(10, [&] {
        const std::string err = host.Err();
        const size_t at = err.find("http://127.0.0.1:");
        hostPort = at == std::string::npos ? 0 : std::atoi(err.c_str() + at + 17);
        return hostPort > 0;
    })) << host.Err();
    httplib::Client hc("127.0.0.1", hostPort);
    hc.set_read_timeout(5);
    std::string scrape;
    ASSERT_TRUE(WaitFor(10, [&] {
        const auto r = hc.Get("/metrics");
        scrape = r && r->status == 200 ? r->body : "";
        return scrape.find("ZOR_IFM_IFSTAT") != std::string::npos &&
               scrape.find("ZOR_IFM_COMMONIFSTAT") != std::string::npos;
    })) << scrape;

    // promtool's lint: names, units, _total on counters, HELP and TYPE.
    const std::string file = WriteFile("scrape.txt", scrape);
    const std::string lintOut = Tmp("promtool.out");
    const int lint = std::system(("promtool check metrics <" + Quote(file) + " >" + Quote(lintOut) + " 2>&1").c_str());
    EXPECT_EQ(lint, 0) << Slurp(lintOut);
    const std::string port = "{sensor=\"ZOR_IFM_COMMONIFSTAT\",interface=\"GE1/0/1\",task=\"1\"}";
    EXPECT_NE(scrape.find("# TYPE zor_ifm_receive_bytes_total counter\n"), std::string::npos) << scrape;
    EXPECT_NE(scrape.find("# TYPE zor_ifm_receive_bytes_per_second gauge\n"), std::string::npos);
    EXPECT_EQ(Series(scrape, "zor_ifm_receive_bytes_per_second" + port), 125000000.0 + 20 * 250000);
    EXPECT_EQ(Series(scrape, "zor_ifm_receive_utilization_ratio" + port), 0.104);
    EXPECT_EQ(Series(scrape, "zor_ifm_ip_transmit_packets_per_second{sensor=\"ZOR_IFM_IFSTAT\",interface=\"Vlanif10\","
                             "task=\"2\"}"),
              5000.0);

    // A Prometheus server of the test's own on loopback, scraping the host every second.
    const int promPort = FreePort();
    ASSERT_GT(promPort, 0);
    const std::string config = WriteFile("prometheus.yml", "global:\n  scrape_interval: 1s\n  scrape_timeout: 1s\n"
                                                           "scrape_configs:\n  - job_name: zor_host\n"
                                                           "    static_configs:\n      - targets: ['127.0.0.1:" +
                                                               std::to_string(hostPort) + "']\n");
    Child prometheus({"prometheus", "--config.file=" + config, "--storage.tsdb.path=" + Tmp("tsdb"),
                      "--web.listen-address=127.0.0.1:" + std::to_string(promPort), "--log.level=warn"},
                     "prometheus");
    httplib::Client pc("127.0.0.1", promPort);
    pc.set_read_timeout(10);
    ASSERT_TRUE(WaitFor(30, [&] {
        const auto r = pc.Get("/-/ready");
        return r && r->status == 200;
    })) << prometheus.Err();
    std::this_thread::sleep_for(std::chrono::seconds(30));
    ASSERT_TRUE(prometheus.Running()) << prometheus.Err();
    ASSERT_TRUE(host.Running()) << host.Err();
    EXPECT_GE(Query(pc, "count_over_time(up{job=\"zor_host\"}[40s])"), 25.0);
    EXPECT_EQ(Query(pc, "min_over_time(up{job=\"zor_host\"}[40s])"), 1.0) << "a scrape failed";

    // Prometheus's rate of a byte counter against the plugin's rate of the same interface, as the
    // host serves it now.
    const auto now = hc.Get("/metrics");
    ASSERT_TRUE(now && now->status == 200);
    const struct {
        const char *counter;
        const char *gauge;
        std::string labels;
    } rates[] = {
        {"zor_ifm_receive_bytes_total", "zor_ifm_receive_bytes_per_second", port},
        {"zor_ifm_transmit_bytes_total", "zor_ifm_transmit_bytes_per_second", port},
        {"zor_ifm_ip_receive_bytes_total", "zor_ifm_ip_receive_bytes_per_second",
         "{sensor=\"ZOR_IFM_IFSTAT\",interface=\"Vlanif10\",task=\"2\"}"},
    };
    for (const auto &r : rates) {
        const double plugin = Series(now->body, r.gauge + r.labels);
        const double scraped = Query(pc, "rate(" + std::string(r.counter) + r.labels + "[15s])");
        ASSERT_FALSE(std::isnan(plugin)) << r.gauge;
        ASSERT_FALSE(std::isnan(scraped)) << r.counter << " " << prometheus.Err();
        EXPECT_NEAR(scraped, plugin, plugin * 0.10) << r.counter << r.labels;
    }
    EXPECT_EQ(prometheus.Stop(), 0) << prometheus.Err();
    EXPECT_EQ(host.Stop(), 0) << host.Err();
}
