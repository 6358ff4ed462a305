// Runs the Google Benchmark cases interleaved and prints each beside its baseline.

#include "table.hpp"

#include <benchmark/benchmark.h>
#include <boost/log/core.hpp>

#include <array>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>

namespace {

class Medians : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const auto& run : runs)
            if (run.aggregate_name == "median") ns_[run.run_name.function_name] = run.GetAdjustedCPUTime();
    }
    [[nodiscard]] double ns(const std::string& name) const { return ns_.at(name); }

private:
    std::map<std::string, double> ns_;
};

constexpr double kMostStepNs = 2.0;

int report(const Medians& medians)
{
    const double step = medians.ns("preStep");
    const double call = medians.ns("emptyVirtualCall");
    const auto row = [&](const char* name, const char* baseline, const char* ours, const char* theirs,
                         double most) {
        return ratioRow(name, baseline, medians.ns(ours), medians.ns(theirs), "ns", most);
    };
    return printRows({
        {"`preStep` after the first step", "empty virtual call", step, call, "ns", "at most 2 ns more",
         step <= call + kMostStepNs},
        row("`qm_module_get_single`", "`std::unordered_map` with the same keys", "moduleLookUp",
            "moduleInMap", 1.0 / 3),
        row("`qm_module_get_single`", "bare two-level array index", "moduleLookUp", "moduleInArray", 2.0),
        row("`qm_block_get`", "`std::unordered_map` with the same keys", "blockLookUp", "blockInMap",
            1.0 / 3),
        row("`qm_block_get`", "bare two-level array index", "blockLookUp", "blockInArray", 2.0),
        row("`qm_printf`", "Boost.Log record of the same text", "logLine", "boostRecord", 1.3),
        row("`qm_printf`, logging disabled", "bare `vsnprintf`", "logLineDisabled", "bareFormat", 1.3),
    });
}

}  // namespace

int main()
{
    std::array arguments = {"qm_bench", "--benchmark_repetitions=25", "--benchmark_min_time=0.02",
                            "--benchmark_enable_random_interleaving=true"};
    int count = arguments.size();
    benchmark::Initialize(&count, const_cast<char**>(arguments.data()));
    boost::log::core::get()->set_logging_enabled(false);  // what the library says when blocks register
    Medians medians;
    benchmark::RunSpecifiedBenchmarks(&medians);
    try {
        return report(medians);
    } catch (const std::out_of_range&) {
        (void)std::fputs("qm_bench: a case of the table was not measured\n", stderr);
        return 1;
    }
}
