// Handbook media environment and URL text helpers.
#include "Handbook/Entities/HandbookMedia.h"

#include <cctype>
#include <mutex>
#include <system_error>

#include "Platform/Foundation/MD5.h"

namespace dm {

namespace {
std::mutex gMediaMutex;
std::shared_ptr<const HandbookMediaEnvironment> gMedia;  // guarded by gMediaMutex

bool isHex(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}
}  // namespace

std::shared_ptr<const HandbookMediaEnvironment> HandbookMediaEnvironment::shared() {
  std::lock_guard lock(gMediaMutex);
  if (!gMedia) gMedia = std::make_shared<const HandbookMediaEnvironment>();
  return gMedia;
}

void HandbookMediaEnvironment::setShared(
    std::shared_ptr<const HandbookMediaEnvironment> environment) {
  std::lock_guard lock(gMediaMutex);
  gMedia = std::move(environment);
}

namespace handbook_url {

bool isValidURL(std::string_view text) {
  auto colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0) return false;
  if (!std::isalpha(static_cast<unsigned char>(text[0]))) return false;
  for (std::size_t i = 1; i < colon; ++i) {
    char c = text[i];
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.')
      return false;
  }
  static constexpr std::string_view kUnsafe = " \"<>\\^`{|}";
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c <= 0x20 || c >= 0x7f || kUnsafe.find(static_cast<char>(c)) != std::string_view::npos)
      return false;
    if (c == '%' && (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])))
      return false;
  }
  return true;
}

std::string urlWithString(std::string_view text) {
  return isValidURL(text) ? std::string(text) : std::string();
}

std::string path(std::string_view url) {
  if (!isValidURL(url)) return {};
  std::string_view rest = url.substr(url.find(':') + 1);
  if (rest.substr(0, 2) == "//") {
    rest.remove_prefix(2);
    auto slash = rest.find_first_of("/?#");
    if (slash == std::string_view::npos) return {};
    rest.remove_prefix(slash);
  }
  auto end = rest.find_first_of("?#");
  return std::string(rest.substr(0, end));
}

std::string fileURL(const std::filesystem::path& file) {
  return "file://" + std::filesystem::absolute(file).string();
}

std::string resourceURLForText(std::string_view text) {
  return resourceURLNamed(md5Hex(text));
}

std::string resourceURLNamed(std::string_view name) {
  auto media = HandbookMediaEnvironment::shared();
  if (media->resourcesDirectory.empty() || name.empty() ||
      name.find('/') != std::string_view::npos || name == "." || name == "..")
    return {};
  std::filesystem::path candidate = media->resourcesDirectory / std::string(name);
  std::error_code ec;
  if (!std::filesystem::is_regular_file(candidate, ec)) return {};
  return fileURL(candidate);
}

std::string trimmed(std::string_view text) {
  auto space = [](char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
  };
  std::size_t begin = 0, end = text.size();
  while (begin < end && space(text[begin])) ++begin;
  while (end > begin && space(text[end - 1])) --end;
  return std::string(text.substr(begin, end - begin));
}

}  // namespace handbook_url
}  // namespace dm
