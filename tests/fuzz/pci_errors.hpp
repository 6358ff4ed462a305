#pragma once

extern "C" {
#include <pci/pci.h>
}

#include "leftovers.hpp"

#include <dlfcn.h>

namespace qm::fuzz {

struct LibpciError
{};

inline void __attribute__((noreturn)) throwLibpciError(char* /*format*/, ...)
{
    throw LibpciError();
}

inline void ignoreWarning(char* /*format*/, ...) {}

/**
 * Calls the library while libpci reports an unreadable machine by an exception: left alone it ends the
 * process, which says nothing about the library.
 */
template <typename Function>
void surviveLibpci(Function act)
{
    try {
        act();
    } catch (const LibpciError&) {
    }
}

}  // namespace qm::fuzz

/** Comes before libpci's own. */
extern "C" [[gnu::used]] inline pci_access* pci_alloc()
{
    static const auto real = reinterpret_cast<pci_access* (*)()>(dlsym(RTLD_NEXT, "pci_alloc"));
    pci_access* const access = real();
    access->error = &qm::fuzz::throwLibpciError;
    access->warning = qm::fuzz::ignoreWarning;
    return access;
}
