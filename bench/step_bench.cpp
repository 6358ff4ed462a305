#include <slrealtime/Standalone.hpp>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

struct Empty : slrealtime::Worker
{};

void callBeforeSteps(benchmark::State& state, std::unique_ptr<slrealtime::Worker> worker)
{
    const slrealtime::TaskInfo task;
    slrealtime::Worker* called = worker.get();
    called->preStep(&task);
    for (auto _ : state) {
        benchmark::DoNotOptimize(called);
        called->preStep(&task);
    }
}

void preStep(benchmark::State& state)
{
    callBeforeSteps(state, slrealtime::standalone::createWorker("QuillmarkSyncService"));
}

void emptyVirtualCall(benchmark::State& state)
{
    callBeforeSteps(state, std::make_unique<Empty>());
}

BENCHMARK(preStep);
BENCHMARK(emptyVirtualCall);

}  // namespace
