#include "platform/lib/sodium/crypto.h"

#include <sodium.h>

#include <vector>

namespace crypto {
namespace {

std::string Hex(const unsigned char* data, size_t size) {
  std::string out(size * 2 + 1, '\0');
  sodium_bin2hex(&out[0], out.size(), data, size);
  out.pop_back();
  return out;
}

}  // namespace

bool Init() {
  static const bool ok = sodium_init() >= 0;
  return ok;
}

bool HashPassword(const std::string& password, std::string* hash) {
  if (!Init()) return false;
  char out[crypto_pwhash_STRBYTES];
  if (crypto_pwhash_str(out, password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                        crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
    return false;
  *hash = out;
  return true;
}

bool VerifyPassword(const std::string& hash, const std::string& password) {
  if (!Init() || hash.size() >= crypto_pwhash_STRBYTES) return false;
  return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

std::string RandomHex(size_t bytes) {
  Init();
  std::vector<unsigned char> buf(bytes);
  randombytes_buf(buf.data(), buf.size());
  return Hex(buf.data(), buf.size());
}

std::string Digest(const std::string& text) {
  unsigned char out[crypto_generichash_BYTES];
  crypto_generichash(out, sizeof out, reinterpret_cast<const unsigned char*>(text.data()),
                     text.size(), nullptr, 0);
  return Hex(out, sizeof out);
}

}  // namespace crypto
