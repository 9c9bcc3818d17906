#include "platform/caught.h"

#include <cstring>
#include <exception>
#include <new>
#include <system_error>

#include "platform/diagnostics.h"

namespace kvmon {

namespace {

Caught Of(OwnFault fault, const char* what) {
    Caught caught;
    caught.fault = fault;
    std::strncpy(caught.what.data(), what, caught.what.size() - 1);
    return caught;
}

}  // namespace

Caught TakeCaught() noexcept {
    try {
        throw;
    } catch (const std::bad_alloc& error) {
        return Of(OwnFault::NoMemory, error.what());
    } catch (const std::system_error& error) {
        const bool bNoMore = error.code() == std::errc::resource_unavailable_try_again;
        return Of(bNoMore ? OwnFault::NoThread : OwnFault::Program, error.what());
    } catch (const std::exception& error) {
        return Of(OwnFault::Program, error.what());
    } catch (...) {
        return Of(OwnFault::Program, "no exception of the standard library");
    }
}

void TraceCaught(const char* name) noexcept {
    const Caught caught = TakeCaught();
    Diagnose("%s: an exception: %s...\n", name, caught.what.data());
}

}  // namespace kvmon
