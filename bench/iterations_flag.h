// --iterations=N, taken out of a benchmark program's arguments: every benchmark then runs exactly N
// iterations (quick smoke runs, instruction counts); 0 when the flag is absent.
#ifndef ZOR_BENCH_ITERATIONS_FLAG_H
#define ZOR_BENCH_ITERATIONS_FLAG_H

#include <cstdint>
#include <cstdlib>
#include <cstring>

inline int64_t TakeIterationsFlag(int &argc, char **argv)
{
    int64_t iterations = 0;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--iterations=", 13) == 0) {
            iterations = std::atoll(argv[i] + 13);
        } else {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    return iterations;
}

// Initializes the library with the remaining arguments and runs the registered benchmarks.
#define ZOR_BENCH_RUN(argc, argv)                                                                  \
    do {                                                                                           \
        benchmark::Initialize(&(argc), (argv));                                                    \
        if (benchmark::ReportUnrecognizedArguments((argc), (argv))) {                              \
            return 1;                                                                              \
        }                                                                                          \
        benchmark::RunSpecifiedBenchmarks();                                                       \
        benchmark::Shutdown();                                                                     \
    } while (0)

#endif
