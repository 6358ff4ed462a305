#include <qm/threads.h>

#include <semaphore.h>

#include <memory>
#include <mutex>
#include <new>

namespace {

sem_t* semaphoreOf(void* handler)
{
    return static_cast<sem_t*>(handler);
}

std::mutex* mutexOf(void* handler)
{
    return static_cast<std::mutex*>(handler);
}

/// A semaphore call's result as this interface gives it.
int oneOnFailure(int result)
{
    return result == -1 ? 1 : 0;
}

}  // namespace

void* qm_createSemaphore(int initCount)
{
    std::unique_ptr<sem_t> semaphore(new (std::nothrow) sem_t{});
    if (semaphore == nullptr) return nullptr;
    // A negative count becomes one above the largest, which is refused.
    if (::sem_init(semaphore.get(), 0, static_cast<unsigned int>(initCount)) != 0) return nullptr;
    return semaphore.release();
}

int qm_destroySemaphore(void* handler)
{
    // Deliberate: the storage stays, for threads that still look at it.
    return oneOnFailure(::sem_destroy(semaphoreOf(handler)));
}

int qm_releaseSemaphore(void* handler)
{
    return oneOnFailure(::sem_post(semaphoreOf(handler)));
}

int qm_waitForSemaphore(void* handler)
{
    return oneOnFailure(::sem_wait(semaphoreOf(handler)));
}

void* qm_createMutex(bool /*initialOwner*/)
{
    return new (std::nothrow) std::mutex;  // Deliberate: never created locked.
}

void qm_destroyMutex(void* handler)
{
    delete mutexOf(handler);
}

void qm_lockMutex(void* handler)
{
    mutexOf(handler)->lock();
}

void qm_unlockMutex(void* handler)
{
    mutexOf(handler)->unlock();
}

bool qm_tryLockMutex(void* handler)
{
    return mutexOf(handler)->try_lock();
}
