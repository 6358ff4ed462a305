// Each of the doctor's checks on a machine where it fails and on one where it passes.

#include "doctor.hpp"

#include "test.hpp"

namespace {

using namespace qm::test;

using namespace qmctl;

using Files = std::map<std::string, std::string>;

/// A machine of nothing but these files.
Machine machineOf(const Files& files, const Measurements& measurements)
{
    sandbox::freshDirectory("/tmp/quillmark");
    for (const auto& [path, content] : files)
        sandbox::writeFile("/tmp/quillmark/" + path, content);
    return {"/tmp/quillmark", measurements};
}

struct World
{
    Files files;
    std::string finding;
    Measurements measurements = {};
};

struct Case
{
    std::string check;
    World passing;
    World failing;
    std::string state = "problem";
};

const std::string kRelease = "proc/sys/kernel/osrelease";
const std::string kVersion = "proc/sys/kernel/version";
const std::string kIdle = "sys/devices/system/cpu/cpu0/cpuidle/state1/";
const std::string kGovernor = "/cpufreq/scaling_governor";
const std::string kLimits = "Limit                     Soft Limit           Hard Limit           Units\n";
const std::string kClock = "sys/devices/system/clocksource/clocksource0/current_clocksource";

const std::vector<Case> kCases{
    {"real-time kernel",
     {{{kRelease, "6.1-rt\n"}, {kVersion, "#1 SMP PREEMPT_RT Debian\n"}}, "6.1-rt, PREEMPT_RT"},
     {{{kRelease, "6.1\n"}, {kVersion, "#1 SMP PREEMPT_DYNAMIC\n"}}, "6.1 is no real-time kernel"}},
    {"isolated CPUs",
     {{{"sys/devices/system/cpu/isolated", "2-3\n"}}, "isolated: 2-3"},
     {{{"sys/devices/system/cpu/isolated", "\n"}}, "no CPU is isolated"}},
    {"throttling",
     {{{"proc/sys/kernel/sched_rt_runtime_us", "-1\n"}}, "off"},
     {{{"proc/sys/kernel/sched_rt_runtime_us", "950000\n"}},
      "real-time threads get 950000 of every 1000000 us"}},
    {"locked memory",
     {{{"proc/self/status", "CapEff:\t0000000000004000\n"}}, "unlimited (CAP_IPC_LOCK)"},
     {{{"proc/self/status", "CapEff:\t0000000000800000\n"},
       {"proc/self/limits",
        kLimits + "Max locked memory         8388608              8388608              bytes\n"}},
      "at most 8192 KiB may be locked"}},
    {"scheduling rights",
     {{{"proc/self/limits", kLimits + "Max realtime priority     99                   99\n"}},
      "real-time priorities are allowed"},
     {{{"proc/self/status", "CapEff:\t0000000000004000\n"},
       {"proc/self/limits", kLimits + "Max realtime priority     0                    0\n"}},
      "the highest real-time priority allowed is 0"}},
    {"frequency scaling",
     {{{"sys/devices/system/cpu/cpu0" + kGovernor, "performance\n"}}, "governor performance"},
     {{{"sys/devices/system/cpu/cpu0" + kGovernor, "performance\n"},
       {"sys/devices/system/cpu/cpu1" + kGovernor, "powersave\n"}},
      "governor: cpu1 powersave"}},
    {"idle states",
     {{{kIdle + "name", "C6\n"}, {kIdle + "latency", "133\n"}, {kIdle + "disable", "1\n"}},
      "none that takes long to leave"},
     {{{kIdle + "name", "C6\n"}, {kIdle + "latency", "133\n"}, {kIdle + "disable", "0\n"}},
      "in use: C6 133 us"}},
    {"interrupt driver", {{{"sys/bus/pci/drivers/uio_quillmark/bind", ""}}, "loaded"}, {{}, "not loaded"}},
    {"DMA manager",
     {{{"dev/u-dma-buf-mgr", ""}}, "/dev/u-dma-buf-mgr is writable", {.dmaManagerWritable = true}},
     {{{"dev/u-dma-buf-mgr", ""}}, "/dev/u-dma-buf-mgr is not writable"}},
    {"contiguous memory",
     {{{"proc/meminfo", "CmaTotal:   65536 kB\nCmaFree:   60000 kB\n"}}, "60000 of 65536 KiB free"},
     {{{"proc/meminfo", "CmaTotal:   65536 kB\nCmaFree:    1000 kB\n"}}, "1000 of 65536 KiB free"},
     "note"},
    {"/dev/mem",
     {{{"dev/mem", ""},
       {"proc/cmdline", "quiet iomem=relaxed\n"},
       {kRelease, "6.1\n"},
       {"boot/config-6.1", "CONFIG_IO_STRICT_DEVMEM=y\n"}},
      "iomem=relaxed"},
     {{{"dev/mem", ""},
       {"proc/cmdline", "quiet\n"},
       {kRelease, "6.1\n"},
       {"boot/config-6.1", "CONFIG_IO_STRICT_DEVMEM=y\n"}},
      "strict: what a driver holds cannot be mapped"},
     "note"},
    {"/dev/mem",
     {{{"dev/mem", ""},
       {kRelease, "6.1\n"},
       {"boot/config-6.1", "CONFIG_DEVMEM=y\n"},
       {"sys/kernel/security/lockdown", "[none] integrity\n"}},
      "not strict"},
     {{{"dev/mem", ""}, {"sys/kernel/security/lockdown", "none [integrity]\n"}},
      "the kernel is locked down (integrity)"}},
    {"msr device",
     {{{"dev/cpu/0/msr", ""}}, "/dev/cpu/0/msr is there"},
     {{}, "/dev/cpu/0/msr is missing"},
     "note"},
    {"configuration",
     {{{"usr/quillmark/sysinfo/a", ""}}, "/usr/quillmark is writable", {.configurationWritable = true}},
     {{{"usr/quillmark/sysinfo/a", ""}}, "/usr/quillmark is not writable"}},
    {"shared memory",
     {{}, "/dev/shm is writable", {.sharedMemoryWritable = true}},
     {{}, "/dev/shm is not writable"}},
    {"clock source", {{{kClock, "tsc\n"}}, "tsc"}, {{{kClock, "hpet\n"}}, "hpet"}},
    {"counter's rate",
     {{}, "3.301 GHz", {.counterHz = 3.301e9}},
     {{}, "2.200 GHz instead of 3.3: qm_wait_ns(1000) lasts 1500 ns, 50 % too long", {.counterHz = 2.2e9}}},
    {"leftover buffers",
     {{{"sys/class/u-dma-buf/somebodys/size", "1"}}, "none"},
     {{{"sys/class/u-dma-buf/qm-udma-buf0/size", "1"}}, "1 buffer in the kernel"},
     "note"},
    {"leftover memory",
     {{}, "none"},
     {{{"dev/shm/qm_persMem_main", "x"}}, "objects of an earlier run are there"},
     "note"},
};

Json findingOf(const std::string& check, const World& world)
{
    for (const Json& finding : examine(machineOf(world.files, world.measurements)).value)
        if (finding.at("check") == check) return finding;
    return {};
}

using Doctor = testing::TestWithParam<Case>;

TEST_P(Doctor, FindsNothingOnAMachineThatIsReady)
{
    const Json finding = findingOf(GetParam().check, GetParam().passing);
    EXPECT_EQ("ok", finding.at("state"));
    EXPECT_EQ(GetParam().passing.finding, finding.at("finding"));
    EXPECT_EQ("", finding.at("cure"));
}

TEST_P(Doctor, TellsWhatIsWrongWhatItBreaksAndTheCure)
{
    const Json finding = findingOf(GetParam().check, GetParam().failing);
    EXPECT_EQ(GetParam().state, finding.at("state"));
    EXPECT_EQ(GetParam().failing.finding, finding.at("finding"));
    EXPECT_NE("", finding.at("breaks"));
    EXPECT_NE("", finding.at("cure"));
}

INSTANTIATE_TEST_SUITE_P(Checks, Doctor, testing::ValuesIn(kCases));

TEST(DoctorsTable, HasACaseForEveryCheck)
{
    std::set<std::string> cases;
    for (const Case& row : kCases)
        cases.insert(row.check);
    for (const Check& check : checks())
        EXPECT_TRUE(cases.contains(check.name)) << check.name;
}

TEST(DoctorsTable, EndsInThreeOnlyWithAProblem)
{
    EXPECT_EQ(kProblems, examine(machineOf({}, {})).status);
    Files good;
    for (const Case& row : kCases)
        good.insert(row.passing.files.begin(), row.passing.files.end());
    good["proc/self/status"] = "CapEff:\t0000000000804000\n";
    EXPECT_EQ(kDone, examine(machineOf(good, {3.3e9, true, true, true})).status);
}

TEST(SavedMeasurements, AreTakenFromAReportAndWrongOnesAreNamed)
{
    const auto saved = measurementsIn(R"({"counter_hz": 2000000000, "dma_manager_writable": true})");
    EXPECT_EQ(2e9, saved.measurements.counterHz);
    EXPECT_TRUE(saved.measurements.dmaManagerWritable);
    EXPECT_FALSE(saved.measurements.sharedMemoryWritable);
    EXPECT_TRUE(saved.cpuTemperature.is_null());
    EXPECT_EQ(45, measurementsIn(R"({"cpu_temperature": 45})").cpuTemperature);
    for (const auto& [text, fault] :
         {std::pair("{", "is no JSON object"), std::pair("[1]", "is no JSON object"),
          std::pair(R"({"counter_hz": "fast"})", "gives 'counter_hz' as string instead of number"),
          std::pair(R"({"counter_hz": null})", "gives 'counter_hz' as null instead of number"),
          std::pair(R"({"cpu_temperature": [45]})", "gives 'cpu_temperature' as array instead of number"),
          std::pair(R"({"shared_memory_writable": 1})", "as number instead of boolean")})
        EXPECT_THAT([text = text] { (void)measurementsIn(text); },
                    testing::ThrowsMessage<Failure>(HasSubstr(fault)));
}

}  // namespace
