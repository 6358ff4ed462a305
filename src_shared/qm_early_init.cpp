#include <qm/lifecycle.h>
#include <slrealtime/Worker.hpp>

#include <memory>

namespace {

constexpr char kServiceName[] = "QuillmarkService";

void (*early_init_func_)() = nullptr;
int is_early_init = 1;  // Deliberate: the early phase lasts until a registered function has run.
void* qmEarlyInitBlkInfo2 = nullptr;

/// Runs the early-initialisation function when the platform initialises its services.
class QuillmarkService : public slrealtime::Worker
{
public:
    static std::unique_ptr<slrealtime::Worker> create() { return std::make_unique<QuillmarkService>(); }

    void initialize() override
    {
        if (early_init_func_ == nullptr) return;
        is_early_init = 1;
        early_init_func_();  // Deliberate: when it throws, the early phase lasts on.
        is_early_init = 0;
    }
    void start() override {}
    void stop() override {}

private:
    static const bool registrar_;
};

const bool QuillmarkService::registrar_ =
    (slrealtime::Worker::doRegister(kServiceName, &QuillmarkService::create), true);

}  // namespace

void qm_register_early_init_function(void (*early_init_func)(void))
{
    early_init_func_ = early_init_func;
}

int qm_is_early_init(void)
{
    return is_early_init;
}

void qm_early_init_set_blkInfo2(void* blkInfo2)
{
    qmEarlyInitBlkInfo2 = blkInfo2;
}

void* qm_early_init_get_blkInfo2(void)
{
    return qmEarlyInitBlkInfo2;
}
