#pragma once

#include <csignal>
#include <cstddef>
#include <ucontext.h>

/// Stands in for hardware during its life: an instruction that faults is carried out by a function, which
/// returns the instruction's length, or 0 for one that it does not know (a fault after all).
class FaultingInstructions
{
public:
    using CarryOut = std::size_t (*)(const unsigned char* code, greg_t* registers);

    explicit FaultingInstructions(CarryOut function)
    {
        carryOut = function;
        struct sigaction action = {};
        action.sa_sigaction = &onFault;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, nullptr);
    }
    ~FaultingInstructions() { (void)signal(SIGSEGV, SIG_DFL); }
    FaultingInstructions(const FaultingInstructions&) = delete;
    FaultingInstructions& operator=(const FaultingInstructions&) = delete;

private:
    static void onFault(int /*signal*/, siginfo_t* /*info*/, void* context)
    {
        auto* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
        const auto* const code = reinterpret_cast<const unsigned char*>(registers[REG_RIP]);
        const std::size_t length = carryOut(code, registers);
        registers[REG_RIP] += static_cast<greg_t>(length);
        if (length == 0) (void)signal(SIGSEGV, SIG_DFL);
    }

    static inline CarryOut carryOut = nullptr;
};
