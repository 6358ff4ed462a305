#include <qm/base_rate.h>
#include <slrealtime/Worker.hpp>

#include <memory>

namespace slrealtime {

namespace {

constexpr char kServiceName[] = "QuillmarkSyncService";

}  // namespace

/// Releases the threads that wait for the base rate: at the first step of any task, or at the end of a run
/// without one.
class QuillmarkSyncService : public Worker
{
public:
    static std::unique_ptr<Worker> create() { return std::make_unique<QuillmarkSyncService>(); }

    void initialize() override {}
    void preStep(const TaskInfo* /*task*/) override { qm_signalBaseRateSync(); }
    void stop() override { qm_signalBaseRateSync(); }

private:
    static const bool registrar_;
};

const bool QuillmarkSyncService::registrar_ =
    (Worker::doRegister(kServiceName, &QuillmarkSyncService::create), true);

}  // namespace slrealtime
