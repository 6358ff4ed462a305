#pragma once

#include <functional>
#include <string>

/// What goes wrong on a target, made to happen.
namespace qm::test {

/// A kernel module of ours is not loaded in this object's life.
class WithoutModule
{
public:
    explicit WithoutModule(std::string name);
    WithoutModule(const WithoutModule&) = delete;
    WithoutModule& operator=(const WithoutModule&) = delete;
    ~WithoutModule();

private:
    std::string name_;
};

/// Runs a part of a test in a process of its own, which SIGKILL ends as soon as it is done; the test fails
/// when the part returns false.
void runAndKill(const std::function<bool()>& part);

}  // namespace qm::test
