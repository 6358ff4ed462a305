#include <qm/lifecycle.h>
#include <qm/log.h>

#include <cstdlib>

namespace {

struct exitHandlerEntry_t
{
    exitHandlerEntry_t* next;
    void (*handler)(void*);
    void* argument;
};

exitHandlerEntry_t* qm_exitHandler_list = nullptr;

}  // namespace

void qm_add_exit_handler(void (*handler)(void*), void* argument)
{
    auto* const entry = static_cast<exitHandlerEntry_t*>(std::malloc(sizeof(exitHandlerEntry_t)));
    *entry = {nullptr, handler, argument};
    qm_printf(qm_debug, "Registering Quillmark exit handler\n");
    // Not the library's destructor: at that time much of what handlers use is gone.
    if (qm_exitHandler_list == nullptr) (void)std::atexit(qm_exit_handler);
    exitHandlerEntry_t** end = &qm_exitHandler_list;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = entry;
}

void qm_exit_handler(void)
{
    qm_printf(qm_debug, "Running Quillmark exit handlers\n");
    while (exitHandlerEntry_t* const entry = qm_exitHandler_list) {
        // In the list while it runs: one that the last handler adds finds a list that is being run already.
        entry->handler(entry->argument);
        qm_exitHandler_list = entry->next;
        std::free(entry);
    }
}
