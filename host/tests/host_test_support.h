// What the host's whole-run tests share: parsed JSON lines of the host's output, scratch files of the
// test process, and child processes that are always ended.
#ifndef ZOR_HOST_TEST_SUPPORT_H
#define ZOR_HOST_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cjson/cJSON.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace hosttest {

// A parsed JSON value; numbers keep their integer text (the figures here stay below 2^53).
struct J {
    enum Type { Null, Num, Str, Arr, Obj } type = Null;
    std::string s; // text of a string or number
    std::vector<J> a;
    std::vector<std::pair<std::string, J>> o;

    const J &operator[](const std::string &key) const
    {
        static const J none;
        for (const auto &m : o) {
            if (m.first == key) {
                return m.second;
            }
        }
        return none;
    }
    uint64_t u() const { return std::stoull(s); }

    static J From(const cJSON *c)
    {
        J v;
        if (cJSON_IsNumber(c)) {
            char text[32];
            std::snprintf(text, sizeof(text), "%.17g", c->valuedouble);
            v.type = Num;
            v.s = text;
        } else if (cJSON_IsString(c)) {
            v.type = Str;
            v.s = c->valuestring;
        } else if (cJSON_IsArray(c) || cJSON_IsObject(c)) {
            v.type = cJSON_IsArray(c) ? Arr : Obj;
            for (const cJSON *m = c->child; m != nullptr; m = m->next) {
                if (v.type == Arr) {
                    v.a.push_back(From(m));
                } else {
                    v.o.emplace_back(m->string, From(m));
                }
            }
        }
        return v;
    }
    static J Parse(const std::string &text)
    {
        cJSON *parsed = cJSON_Parse(text.c_str());
        J v = From(parsed);
        cJSON_Delete(parsed);
        return v;
    }
};

// The JSON objects among the lines of a text (a partly written last line is left out).
inline std::vector<J> JsonLines(const std::string &text)
{
    std::vector<J> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line[0] == '{' && line.back() == '}') {
            lines.push_back(J::Parse(line));
        }
    }
    return lines;
}

inline std::string Quote(const std::string &s)
{
    std::string q = "'";
    for (char c : s) {
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return q + "'";
}

inline std::string Slurp(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Files of this process live in a directory of their own (tests run in parallel under CTest).
inline std::string Tmp(const std::string &name)
{
    static const struct Dir {
        std::string path = ::testing::TempDir() + "/host_test_XXXXXX";
        Dir() { ::mkdtemp(&path[0]); }
        ~Dir() { (void)!std::system(("rm -rf '" + path + "'").c_str()); }
    } dir;
    return dir.path + "/" + name;
}

inline std::string WriteFile(const std::string &name, const std::string &text)
{
    const std::string path = Tmp(name);
    std::ofstream(path) << text;
    return path;
}

inline uint64_t NowMs()
{
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
}

// Polls `done` every 100 ms for at most `seconds`; true when it held.
template <typename F>
bool WaitFor(double seconds, F done)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

// A program run in the background with its output in files; ended (SIGTERM, then SIGKILL after
// five seconds) when the object goes, whatever the test's outcome.
class Child {
public:
    Child(const std::vector<std::string> &argv, const std::string &name)
        : out_(Tmp(name + ".out")), err_(Tmp(name + ".err"))
    {
        pid_ = fork();
        if (pid_ == 0) {
            const int o = open(out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            const int e = open(err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(o, 1);
            dup2(e, 2);
            std::vector<char *> args;
            for (const std::string &a : argv) {
                args.push_back(const_cast<char *>(a.c_str()));
            }
            args.push_back(nullptr);
            execvp(args[0], args.data());
            _exit(127);
        }
    }
    ~Child() { Stop(); }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    // Ends the program if it still runs; its exit status (-1 when killed by a signal).
    int Stop()
    {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            if (!Reap(5.0)) {
                kill(pid_, SIGKILL);
                Reap(5.0);
            }
            pid_ = 0;
        }
        return status_;
    }
    // Waits at most `seconds` for the program to end by itself.
    bool Wait(double seconds)
    {
        const bool ended = Reap(seconds);
        if (ended) {
            pid_ = 0;
        }
        return ended;
    }
    bool Running() { return pid_ > 0 && !Wait(0); }
    pid_t Pid() const { return pid_; }
    int Status() const { return status_; }
    std::string Out() const { return Slurp(out_); }
    std::string Err() const { return Slurp(err_); }

private:
    bool Reap(double seconds)
    {
        int st = 0;
        const bool ended = WaitFor(seconds, [&] { return waitpid(pid_, &st, WNOHANG) == pid_; });
        if (ended) {
            status_ = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
        }
        return ended;
    }

    std::string out_;
    std::string err_;
    pid_t pid_ = -1;
    int status_ = -1;
};

} // namespace hosttest

#endif
