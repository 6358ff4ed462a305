// Makes each call of each scenario fail in turn, each in processes of its own: one that meets the failure,
// and one behind it that must succeed in what it has left. A share by chance; QM_FAULTS=all makes every call
// fail, QM_FAULTS=17 the one with this number; QM_FAULT_SEED chooses the share.

#include "faults.hpp"

#include "documented.hpp"
#include "test.hpp"

#include <fnmatch.h>
#include <random>

namespace qm::test {

namespace {

constexpr auto kShare = std::chrono::milliseconds(1200);  // for each scenario
constexpr unsigned kHangSeconds = 20;
constexpr long kNothing = -1, kCount = -2;  // in place of the number of a failure

/** What a child process tells. */
struct Report
{
    Call hit;
    long count;
    char complaint[4000];
    char direct[1 << 17];  // as in Interposer
};

/** What is logged: from information on it is a complaint. */
auto& logged = *new LogCapture([] { interposer.paused = false; });

/** Open files, and mapped ones that are no programs. */
std::vector<std::string> held()
{
    std::vector<std::string> files = openDescriptors();
    std::erase_if(files, [](const auto& file) { return file.ends_with("/fd"); });  // the one that lists them
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        const size_t path = line.find(" /");
        if (path == std::string::npos) continue;
        if (line.compare(path, 6, " /dev/") == 0 || line.compare(path, 6, " /sys/") == 0)
            files.push_back("mapped" + line.substr(path));
    }
    std::ranges::sort(files);
    return files;
}

std::string leftBehind(const std::vector<std::string>& before, const std::string& scenario, const Call& hit)
{
    std::string complaint;
    const std::vector<std::string> after = held();
    std::vector<std::string> added;
    std::ranges::set_difference(after, before, std::back_inserter(added));
    for (const std::string& file : added)
        if (!mayStayOpen(scenario, hit.name, file)) complaint += "left open: " + file + "\n";
    return complaint;
}

std::string said()
{
    return fmt::format("{}", fmt::join(logged.lines(), "\n"));
}

/** Whether a failed step tells the reason as it should. */
std::string withoutReason(const Step& step, long result, int error, const Call& hit)
{
    const int expected = hit.error == kShort ? EIO : hit.error;
    const std::string text =
        expected == ENOMEM ? "allocate " : strerror(expected);  // also "Failed to allocate ..."
    std::string complaint;
    if ((step.reason & kErrno) != 0 && error != expected)
        complaint += "errno " + std::to_string(error) + '\n';
    if ((step.reason & kNegative) != 0 && result != -expected)
        complaint += "result " + std::to_string(result) + '\n';
    if ((step.reason & kText) != 0 && std::string(pQmErrorStr).find(text) == std::string::npos)
        complaint += "error text: " + std::string(pQmErrorStr) + '\n';
    if ((step.reason & kLog) != 0 && said().find(text) == std::string::npos)
        complaint += "logged: " + said() + '\n';
    if ((step.reason & kSays) != 0 && logged.notes().empty()) complaint += "nothing logged\n";
    return complaint;
}

/** Does one step; empty, or what is wrong with its outcome. */
std::string complaintOf(const std::string& scenario, const Step& step, const Call& hit, int number)
{
    pQmErrorStr[0] = '\0';
    logged.clear();
    bool threw = false;
    long result = 1;
    errno = 0;
    interposer.armed = true;
    try {
        result = step.act();
    } catch (const std::bad_alloc&) {
        threw = true;
    }
    const int error = errno;
    interposer.armed = interposer.paused = false;
    if (threw && (step.reason & kThrows) == 0) return "std::bad_alloc crossed the interface\n";
    if ((step.reason & kLogged) != 0 && !logged.notes().empty()) result = 1;
    if (hit.step >= 0 && hit.step < number) return {};  // what it is to do with the remains is not known

    const std::string outcome = threw         ? "threw"
                                : result == 0 ? "succeeded"
                                              : "failed with " + std::to_string(result);
    const std::string story =
        outcome + "; errno " + std::to_string(error) + ", " + pQmErrorStr + "\n" + said();
    if (hit.step < 0) return result == 0 ? "" : step.name + (" " + story);
    switch (expectedOutcome(scenario + "/" + step.name, hit.name)) {
        case kAny:
        case kEnds:
            return {};
        case kEither:
            return result == 0 || threw ? "" : withoutReason(step, result, error, hit);
        case kSucceeds:
            return result == 0 ? "" : "harmless, but " + story;
        case kFails:
            return result != 0 ? "" : "reported as a success\n";
        default:
            if (result == 0) return "reported as a success\n";
            return threw ? "" : withoutReason(step, result, error, hit);
    }
}

void perform(const Scenario& scenario, long failAt, Report& report)
{
    report.hit = {"nothing", 0, -1};
    (void)alarm(kHangSeconds);
    interposer.hit = &report.hit;
    interposer.failAt = failAt;
    interposer.direct = failAt == kCount ? report.direct : nullptr;
    interposer.count = 0;
    const std::vector<std::string> before = held();
    std::string complaint;
    for (size_t i = 0; i < scenario.steps.size(); ++i) {
        interposer.step = static_cast<int>(i);
        complaint += complaintOf(scenario.name, scenario.steps[i], report.hit, interposer.step);
    }
    complaint += leftBehind(before, scenario.name, report.hit);
    report.count = interposer.count;
    (void)std::snprintf(report.complaint, sizeof report.complaint, "%s", complaint.c_str());
}

/** Runs in a process of its own; its status. */
template <typename Act>
int apart(Act act)
{
    (void)std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        act();
        _exit(0);
    }
    int status = -1;
    (void)waitpid(child, &status, 0);
    return status;
}

void silence()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    (void)dup2(nowhere, STDOUT_FILENO);
    (void)dup2(nowhere, STDERR_FILENO);
    (void)close(nowhere);
    (void)setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);
}

struct Faults : testing::TestWithParam<Scenario>
{
    /** In a world of its own: the run that meets the failure, then one that must succeed. */
    std::string complaintWith(long failAt)
    {
        report_->complaint[0] = '\0';
        const int status = apart([&] {
            silence();
            if (unshare(CLONE_NEWNS) != 0) _exit(1);
            GetParam().furnish();
            const int ended = apart([&] { perform(GetParam(), failAt, *report_); });
            if (ended != 0 && expectedOutcome(stepThatFailed(), report_->hit.name) != kEnds)
                say("ended with wait status " + std::to_string(ended));
            if (report_->complaint[0] != '\0') return;
            const Call hit = report_->hit;
            const long count = report_->count;
            perform(GetParam(), kNothing, *report_);
            if (report_->complaint[0] != '\0') say("afterwards: " + std::string(report_->complaint));
            report_->hit = hit;
            report_->count = count;
        });
        if (status != 0) say("the run behind it ended with wait status " + std::to_string(status));
        if (report_->complaint[0] == '\0') return {};
        const int error = report_->hit.error;
        return stepThatFailed() + ", " + report_->hit.name + ": " +
               (error == kShort ? "short" : strerror(error)) + "\n" + report_->complaint;
    }

    void say(const std::string& complaint)
    {
        (void)std::snprintf(report_->complaint, sizeof report_->complaint, "%s", complaint.c_str());
    }

    std::string stepThatFailed()
    {
        const int step = report_->hit.step;
        return std::string(GetParam().name) + "/" +
               (step < 0 ? "" : GetParam().steps[static_cast<size_t>(step)].name);
    }

    /** The numbers of all failures by chance, two of the library's own calls for one of others'. */
    std::vector<long> shuffled(unsigned seed)
    {
        std::vector<long> own, others, order;
        for (long i = 0; i < report_->count; ++i)
            (report_->direct[i] != 0 ? own : others).push_back(i);
        std::mt19937 chance(seed);
        std::ranges::shuffle(own, chance);
        std::ranges::shuffle(others, chance);
        while (!own.empty() || !others.empty())
            for (auto* const list : {&own, &own, &others}) {
                if (list->empty()) continue;
                order.push_back(list->back());
                list->pop_back();
            }
        return order;
    }

    Report* report_ = static_cast<Report*>(
        mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
};

TEST_P(Faults, AreReportedLeaveNothingOpenAndAreOverWithTheProcess)
{
    (void)alarm(0);  // each process has its own
    const char* const wish = getenv("QM_FAULTS");
    const char* const chosen = getenv("QM_FAULT_SEED");
    const unsigned seed =
        chosen != nullptr ? static_cast<unsigned>(std::stoul(chosen)) : std::random_device{}();
    ASSERT_EQ("", complaintWith(kCount)) << "without a failure";
    ASSERT_LT(0, report_->count);

    std::vector<long> numbers = shuffled(seed);
    const size_t all = numbers.size();
    const bool whole = wish != nullptr && std::strcmp(wish, "all") == 0;
    if (wish != nullptr && !whole) numbers = {std::stol(wish)};
    const auto end = std::chrono::steady_clock::now() + kShare;
    size_t done = 0;
    for (const long number : numbers) {
        if (!whole && std::chrono::steady_clock::now() > end) break;
        ++done;
        const std::string complaint = complaintWith(number);
        if (!complaint.empty()) ADD_FAILURE() << "failure " << number << ": " << complaint;
    }
    std::printf("%s: %zu of %zu failures, QM_FAULT_SEED=%u\n", GetParam().name, done, all, seed);
}

INSTANTIATE_TEST_SUITE_P(OfDevices, Faults, testing::ValuesIn(deviceScenarios()), byName);
INSTANTIATE_TEST_SUITE_P(OfAProcess, Faults, testing::ValuesIn(processScenarios()), byName);

}  // namespace

}  // namespace qm::test
