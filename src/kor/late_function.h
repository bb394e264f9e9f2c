// Functions of libcurl and libzip, which stand on some thirty libraries. They are loaded when the
// first of them is called: a process that transfers nothing need not pay for them.

#pragma once

#include <atomic>

// Whether the libraries can be had; if not, the reason is in the framework's log, once.
bool KorTransferLibrariesAreThere();

// For KorLateFunction. Throws std::runtime_error when there is no such function.
void* KorLateAddress(const char* functionName);

// Is called like the function itself. The type is that of a pointer to the function:
//   const KorLateFunction<decltype(&curl_easy_init)> easyInit("curl_easy_init");
template <typename Pointer>
class KorLateFunction {
 public:
  constexpr explicit KorLateFunction(const char* functionName) : name(functionName) {}

  // NOLINTNEXTLINE(google-explicit-constructor): this is what makes it callable.
  operator Pointer() const {
    void* found = address.load(std::memory_order_acquire);
    if (found == nullptr) {
      found = KorLateAddress(name);
      address.store(found, std::memory_order_release);
    }
    return reinterpret_cast<Pointer>(found);
  }

 private:
  const char* const name;
  mutable std::atomic<void*> address = nullptr;
};
