// What the C++ library would bring along, without its size: these modules import nothing.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <new>
#include <typeinfo>

namespace {

/// What the last exception said, for the host: ended by a NUL.
char reason[1024];

} // namespace

void *operator new(std::size_t size) {
    if (void *bytes = std::malloc(size ? size : 1))
        return bytes;
    __builtin_trap();
}
void *operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void *bytes) noexcept {
    std::free(bytes);
}
void operator delete[](void *bytes) noexcept {
    std::free(bytes);
}
void operator delete(void *bytes, std::size_t) noexcept {
    std::free(bytes);
}
void operator delete[](void *bytes, std::size_t) noexcept {
    std::free(bytes);
}

extern "C" {

const char *oxel_reason() {
    return reason;
}

/// The C++ library's last words would bring printf along; nobody would read them.
[[noreturn]] void abort_message(const char *, ...) {
    __builtin_trap();
}

// Nothing catches here. An exception leaves its words and ends the call with a trap, after which
// the host throws the instance away.
void *__cxa_allocate_exception(std::size_t size) {
    return operator new(size);
}
void __cxa_free_exception(void *) {}
void __cxa_throw(void *exception, std::type_info *, void (*)(void *)) {
    // Whatever these sources throw is a std::exception, first of its bases.
    const char *text = static_cast<std::exception *>(exception)->what();
    std::size_t length = 0;
    while (text[length] && length < sizeof reason - 1) {
        reason[length] = text[length];
        ++length;
    }
    reason[length] = 0;
    __builtin_trap();
}
}
