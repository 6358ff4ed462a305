#pragma once

#include <semaphore.h>

#include <atomic>
#include <cxxabi.h>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

namespace slrealtime {

/**
 * Whether the run goes on, and why it does not. SIGINT and SIGTERM end it while one of these lives; there is
 * at most one. The signals get a handler instead of being blocked, because a block would be inherited by
 * programs that the model spawns and leave them deaf to SIGTERM.
 */
class RunControl
{
public:
    RunControl();
    ~RunControl();
    RunControl(const RunControl&) = delete;
    RunControl& operator=(const RunControl&) = delete;

    /** Ends the run. Any thread; a signal handler too. */
    void end() noexcept;

    /** Ends the run with a failure. The first one stands. */
    void fail(const std::string& reason);

    /** Calls `function`; an exception is a failure of the run in `phase`. */
    template <typename Function>
    void guard(const std::string& phase, Function&& function)
    {
        try {
            std::forward<Function>(function)();
        } catch (const std::exception& error) {
            fail(phase + ": " + error.what());
        } catch (const abi::__forced_unwind&) {  // a cancelled thread
            throw;
        } catch (...) {
            fail(phase + ": an exception that is not a std::exception");
        }
    }

    bool ending() const noexcept { return ending_.load(std::memory_order_relaxed); }

    /** Blocks until the run ends. */
    void waitForEnd();

    /** Empty without a failure. */
    std::string failure() const;

private:
    std::atomic<bool> ending_{false};
    sem_t ended_ = {};
    mutable std::mutex mutex_;
    std::string failure_;
};

}  // namespace slrealtime
