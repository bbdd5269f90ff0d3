#pragma once

#include <benchmark/benchmark.h>

#include <functional>

// Runs the benchmarks named on the command line; `Application` is the Qt application object the
// awaited work of the benchmarks needs, alive for the whole run and for `atEnd`.
template <typename Application>
int runBenchmarks(int argc, char** argv, const std::function<void()>& atEnd = {}) {
    Application application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (atEnd) {
        atEnd();
    }
    return 0;
}
