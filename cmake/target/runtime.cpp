// What the C++ library of the self-contained program asks its runtime for. The program is built
// without exceptions, so a throw in the library can only end the process. Saying so here keeps the
// machinery that would look for a handler out of the file: an unwinder, the demangler, the reader
// of its tables.

#include <cstddef>
#include <cstdlib>
#include <new>

// NOLINTBEGIN: the names are the library's

namespace std {
#define ENDS_THE_PROCESS(name, parameters) \
  [[noreturn]] void name parameters { std::abort(); }
ENDS_THE_PROCESS(__throw_bad_alloc, ())
ENDS_THE_PROCESS(__throw_bad_array_new_length, ())
ENDS_THE_PROCESS(__throw_bad_cast, ())
ENDS_THE_PROCESS(__throw_bad_exception, ())
ENDS_THE_PROCESS(__throw_bad_typeid, ())
ENDS_THE_PROCESS(__throw_bad_function_call, ())
ENDS_THE_PROCESS(__throw_ios_failure, (const char*))
ENDS_THE_PROCESS(__throw_ios_failure, (const char*, int))
ENDS_THE_PROCESS(__throw_invalid_argument, (const char*))
ENDS_THE_PROCESS(__throw_length_error, (const char*))
ENDS_THE_PROCESS(__throw_logic_error, (const char*))
ENDS_THE_PROCESS(__throw_out_of_range, (const char*))
ENDS_THE_PROCESS(__throw_out_of_range_fmt, (const char*, ...))
ENDS_THE_PROCESS(__throw_overflow_error, (const char*))
ENDS_THE_PROCESS(__throw_runtime_error, (const char*))
ENDS_THE_PROCESS(__throw_system_error, (int))
[[noreturn]] void terminate() noexcept { std::abort(); }
bool uncaught_exception() noexcept { return false; }
int uncaught_exceptions() noexcept { return 0; }
}  // namespace std

namespace __gnu_cxx {
void __verbose_terminate_handler() { std::abort(); }
}  // namespace __gnu_cxx

extern "C" {
ENDS_THE_PROCESS(__cxa_pure_virtual, ())
ENDS_THE_PROCESS(__cxa_deleted_virtual, ())
ENDS_THE_PROCESS(__cxa_bad_cast, ())
ENDS_THE_PROCESS(__cxa_bad_typeid, ())
ENDS_THE_PROCESS(__cxa_throw, (void*, void*, void (*)(void*)))
ENDS_THE_PROCESS(__cxa_rethrow, ())
ENDS_THE_PROCESS(__cxa_allocate_exception, (std::size_t))
ENDS_THE_PROCESS(__cxa_free_exception, (void*))
ENDS_THE_PROCESS(__cxa_begin_catch, (void*))
ENDS_THE_PROCESS(__cxa_end_catch, ())
ENDS_THE_PROCESS(__cxa_call_unexpected, (void*))
ENDS_THE_PROCESS(__cxa_throw_bad_array_new_length, ())
ENDS_THE_PROCESS(__gxx_personality_v0, ())
ENDS_THE_PROCESS(_Unwind_Resume, (void*))
}

namespace {
void* allocated(std::size_t size) {
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (!memory) std::abort();
  return memory;
}
}  // namespace

void* operator new(std::size_t size) { return allocated(size); }
void* operator new[](std::size_t size) { return allocated(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

// NOLINTEND
