#include "exports/action.h"

#include "frame/errors.h"
#include "frame/session.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace setupactions {

namespace {

const size_t LineSize = 128; // characters; longer than any line with an action's name

// Throwing and catching need some memory themselves: it is reserved while an action runs
// and released when an allocation fails.
const size_t ReserveSize = 16 * 1024; // bytes
std::atomic<void*> reserve;

void PutAside(void* block) { std::free(reserve.exchange(block)); }

[[noreturn]] void OnLackOfMemory() {
    PutAside(nullptr);
    throw std::bad_alloc();
}

struct MemoryReserve {
    MemoryReserve() {
        PutAside(std::malloc(ReserveSize));
        std::set_new_handler(OnLackOfMemory);
    }
    ~MemoryReserve() { PutAside(nullptr); }
    MemoryReserve(const MemoryReserve&) = delete;
    MemoryReserve& operator=(const MemoryReserve&) = delete;
};

// The library allocates no memory for these lines.
UINT RanOutOfMemory(MSIHANDLE session, const char* name) {
    char line[LineSize];
    std::snprintf(line, sizeof line, "%s: out of memory", name);
    LogMessage(session, line);
    return ERROR_INSTALL_FAILURE;
}

UINT Failed(MSIHANDLE session, const char* name, long number) {
    char line[LineSize];
    std::snprintf(line, sizeof line, "%s: failed (%ld)", name, number);
    LogMessage(session, line);
    return ERROR_INSTALL_FAILURE;
}

} // namespace

UINT RunAction(MSIHANDLE session, const char* name, UINT (*body)(MSIHANDLE session)) {
    const MemoryReserve untilTheEnd;
    try {
        return body(session);
    } catch (const std::bad_alloc&) {
        return RanOutOfMemory(session, name);
    } catch (const InvalidArgument&) {
        return Failed(session, name, E_INVALIDARG);
#if !defined(__GNUC__)
    } catch (const std::logic_error&) { // an invalid length or position in a text
        return Failed(session, name, E_INVALIDARG);
#endif
    } catch (int number) {
        return Failed(session, name, number);
    } catch (...) {
        return Failed(session, name, 0);
    }
}

} // namespace setupactions
