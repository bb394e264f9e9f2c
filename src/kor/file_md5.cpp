#include <openssl/evp.h>
#include <openssl/provider.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "kor/debug.h"
#include "kor/file.h"

namespace {

template <auto Free>
struct Freed {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

// MD5 from a library context of its own with the default provider: the process's context may be
// bound to the FIPS provider, which has no MD5.
class Md5 {
 public:
  Md5() {
    if (!provider || !algorithm || !state) return;
    isUsable = EVP_DigestInit_ex2(state.get(), algorithm.get(), nullptr) == 1;
  }

  bool IsUsable() const { return isUsable; }

  bool Add(std::string_view bytes) {
    isUsable = isUsable && EVP_DigestUpdate(state.get(), bytes.data(), bytes.size()) == 1;
    return isUsable;
  }

  // Lower-case hexadecimal; empty when something failed.
  KorString Finish() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned int length = 0;
    if (!isUsable || EVP_DigestFinal_ex(state.get(), digest.data(), &length) != 1) return {};
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
      text += "0123456789abcdef"[digest[i] >> 4];
      text += "0123456789abcdef"[digest[i] & 15];
    }
    return KorString(text);
  }

 private:
  std::unique_ptr<OSSL_LIB_CTX, Freed<OSSL_LIB_CTX_free>> library{OSSL_LIB_CTX_new()};
  std::unique_ptr<OSSL_PROVIDER, Freed<OSSL_PROVIDER_unload>> provider{
      OSSL_PROVIDER_load(library.get(), "default")};
  std::unique_ptr<EVP_MD, Freed<EVP_MD_free>> algorithm{
      EVP_MD_fetch(library.get(), "MD5", "-fips")};
  std::unique_ptr<EVP_MD_CTX, Freed<EVP_MD_CTX_free>> state{EVP_MD_CTX_new()};
  bool isUsable = false;
};

}  // namespace

KorString FileMd5(const KorString& path) {
  Md5 md5;
  if (!md5.IsUsable()) {
    KorFrameworkLog().WarningWithNL("MD5 is not available: no checksum of '%S'", path);
    return {};
  }
  KorString error;
  if (!FileReadChunks(
          path, [&md5](std::string_view bytes) { return md5.Add(bytes); }, error)) {
    return {};
  }
  return md5.Finish();
}

KorString TextMd5(const KorString& text) {
  Md5 md5;
  if (!md5.IsUsable()) return {};
  md5.Add(text.View());
  return md5.Finish();
}
