#include "Platform/Foundation/Guid.h"

#include <cstdint>
#include <cstdio>
#include <random>

namespace dm {

std::string newGuid() {
  // One generator per thread, seeded once from the system's entropy.
  thread_local std::mt19937_64 generator{[] {
    std::random_device entropy;
    return (static_cast<std::uint64_t>(entropy()) << 32) ^ entropy();
  }()};
  std::uint64_t high = generator(), low = generator();
  high = (high & ~0xF000ULL) | 0x4000ULL;                // version 4
  low = (low & ~(0xC000ULL << 48)) | (0x8000ULL << 48);  // RFC 4122 variant
  char text[37];
  std::snprintf(text, sizeof text, "%08llx-%04llx-%04llx-%04llx-%012llx",
                static_cast<unsigned long long>(high >> 32),
                static_cast<unsigned long long>((high >> 16) & 0xFFFF),
                static_cast<unsigned long long>(high & 0xFFFF),
                static_cast<unsigned long long>(low >> 48),
                static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
  return text;
}

}  // namespace dm
