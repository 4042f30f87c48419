// Runs inputs through a fuzz target without libFuzzer, so that every build (and a coverage build)
// can replay the checked-in corpora: each argument is a file, or a directory whose regular files
// run in name order. A failing oracle aborts with its message.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv)
{
    namespace fs = std::filesystem;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        if (fs::is_directory(argv[i])) {
            std::vector<fs::path> dir;
            for (const fs::directory_entry &e : fs::directory_iterator(argv[i])) {
                if (e.is_regular_file()) {
                    dir.push_back(e.path());
                }
            }
            std::sort(dir.begin(), dir.end());
            files.insert(files.end(), dir.begin(), dir.end());
        } else {
            files.emplace_back(argv[i]);
        }
    }
    for (const fs::path &f : files) {
        std::ifstream in(f, std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "cannot read %s\n", f.c_str());
            return 1;
        }
        const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::fprintf(stderr, "%s\n", f.c_str());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu inputs ran without a finding\n", files.size());
    return files.empty() ? 1 : 0;
}
