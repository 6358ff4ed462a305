#include "qm_error.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

char pQmErrorStr[QM_ERROR_STR_SIZE] = {};

void qm::setErrorText(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(pQmErrorStr, sizeof pQmErrorStr, format, arguments);
    va_end(arguments);
}

namespace {

constexpr std::size_t kTextSize = sizeof QmError::errorMsg;

/// A text of an error object is never cut: one that does not fit is a fault of the block, and ends the
/// process.
void requireFits(std::size_t length)
{
    if (length < kTextSize) return;
    std::fprintf(stderr,
                 "libqm: an error text of %zu characters does not fit into %zu; shorten the block's names or "
                 "message\n",
                 length, kTextSize - 1);
    std::abort();
}

/// Formats into one of the object's texts; the number of characters written, 0 when the text cannot be
/// formatted.
int32_t vformatInto(char* text, const char* format, va_list arguments)
{
    const int length = std::vsnprintf(text, kTextSize, format, arguments);
    if (length < 0) {
        text[0] = '\0';
        return 0;
    }
    requireFits(static_cast<std::size_t>(length));
    return length;
}

int32_t formatInto(char* text, const char* format, ...) QM_PRINTF(2, 3);
int32_t formatInto(char* text, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int32_t length = vformatInto(text, format, arguments);
    va_end(arguments);
    return length;
}

}  // namespace

QmError* qmError_new(void)
{
    return new QmError{};
}

void qmError_delete(QmError* error)
{
    delete error;
}

void qmError_setPreamble(QmError* error, const char* moduleName, const char* blockName, int32_t moduleId)
{
    error->writeIndex =
        formatInto(error->outputMsg, "In %s, %s block, ID %d: ", moduleName, blockName, moduleId);
}

void qmError_setMsg(QmError* error, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vformatInto(error->errorMsg, format, arguments);
    va_end(arguments);
}

void qmError_extractMsg(QmError* error, const char* msg)
{
    std::string_view message(msg);
    const std::size_t colon = message.find(':');
    if (colon != std::string_view::npos) {
        message.remove_prefix(colon + 1);
        message.remove_prefix(std::min(message.find_first_not_of(' '), message.size()));
    }
    requireFits(message.size());
    std::memmove(error->errorMsg, message.data(), message.size());  // the text may be our own message
    error->errorMsg[message.size()] = '\0';
}

char* qmError_getMsg(QmError* error)
{
    const std::size_t preamble = static_cast<std::size_t>(error->writeIndex);
    const std::size_t message = std::strlen(error->errorMsg);
    requireFits(preamble + message);
    std::memcpy(error->outputMsg + preamble, error->errorMsg, message + 1);
    return error->outputMsg;
}
