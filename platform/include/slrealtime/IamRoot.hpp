/**
 * @file
 * Root rights for the span of a scope.
 */
#ifndef SLREALTIME_IAMROOT_HPP
#define SLREALTIME_IAMROOT_HPP

#include <slrealtime/Export.hpp>

namespace slrealtime {

/**
 * Root rights for the span of a scope.
 *
 * The effective user of the process becomes root with the first scope and is what it was before once the last
 * scope has ended. Scopes nest, and scopes of several threads may overlap: the rights are the whole
 * process's, so they are counted for the whole process.
 *
 * - A process that is effective root already: one look at the effective user, nothing is changed.
 * - The rights cannot be had (neither the real nor the saved user is root): nothing happens. The operation
 * inside then fails with its own errno.
 * - The rights cannot be dropped at the end: the process ends with a message on standard error, because going
 * on as root is worse.
 *
 * errno is kept by constructor and destructor. Thread-safe. Not for the real-time path: raising and dropping
 * interrupts every thread of the process. Do not fork without exec inside a scope: the child keeps the
 * rights.
 */
class SLREALTIME_API IamRoot
{
public:
    IamRoot() noexcept;
    ~IamRoot();
    IamRoot(const IamRoot&) = delete;
    IamRoot& operator=(const IamRoot&) = delete;
    IamRoot(IamRoot&&) = delete;
    IamRoot& operator=(IamRoot&&) = delete;
};

}  // namespace slrealtime

#endif
