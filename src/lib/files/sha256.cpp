#include "files/sha256.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

#include "files/descriptor.h"

namespace vesk_files {

struct Sha256::Context {
  EVP_MD_CTX* state = EVP_MD_CTX_new();

  Context() {
    if (state == nullptr) throw std::runtime_error("SHA-256 is not available");
  }
  ~Context() { EVP_MD_CTX_free(state); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  void start() {
    if (EVP_DigestInit_ex(state, EVP_sha256(), nullptr) != 1) throw std::runtime_error("SHA-256 is not available");
  }
};

Sha256::Sha256() : context(std::make_unique<Context>()) { context->start(); }
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(const void* data, std::size_t size) {
  if (EVP_DigestUpdate(context->state, data, size) != 1) throw std::runtime_error("SHA-256 failed");
}

std::string Sha256::finish() {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (EVP_DigestFinal_ex(context->state, digest.data(), &size) != 1) throw std::runtime_error("SHA-256 failed");
  context->start();
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (unsigned int i = 0; i < size; ++i) {
    text += digits[digest[i] >> 4];
    text += digits[digest[i] & 15];
  }
  return text;
}

std::string sha256OfFile(const std::string& path) { return sha256Of(Descriptor::openToRead(path)); }

std::string sha256Of(const Descriptor& file) {
  Sha256 hash;
  std::vector<char> block(std::size_t{1} << 20);
  while (const std::size_t size = file.read(block.data(), block.size())) hash.update(block.data(), size);
  return hash.finish();
}

std::string sha256OfText(const std::string& text) {
  Sha256 hash;
  hash.update(text.data(), text.size());
  return hash.finish();
}

bool isSha256(const std::string& text) {
  return text.size() == 64 &&
         std::all_of(text.begin(), text.end(), [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

}  // namespace vesk_files
