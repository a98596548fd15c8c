// Where handbook images and videos come from: the host's bundled resources, its web host and
// its image disk cache, plus the URL text helpers the records build their addresses with.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace dm {

// The host's side of handbook media. Values are copied in and out whole; any thread.
struct HandbookMediaEnvironment {
  // Directory holding resources named by the MD5 hex digest of their address (no
  // extension); empty: the host bundles none.
  std::filesystem::path resourcesDirectory;
  // The application's web host as an absolute secure-web origin without trailing slash.
  std::string mediaBaseURL = "https://media.korvalo.app";
  // True when the image disk cache holds an image under the key; unset: nothing is cached.
  std::function<bool(const std::string& key)> imageCacheContains;
  // True while the interface uses the dark style; unset: light.
  std::function<bool()> isDarkInterface;

  // The process-wide environment (defaults until the host sets one). Any thread.
  static std::shared_ptr<const HandbookMediaEnvironment> shared();
  // Replaces the process-wide environment; nullptr restores the defaults. Any thread.
  static void setShared(std::shared_ptr<const HandbookMediaEnvironment> environment);
};

namespace handbook_url {

// True when `text` is a well-formed absolute URL: a scheme, then only characters allowed in
// URLs (no blanks, braces or other unsafe characters; "%" followed by two hex digits).
bool isValidURL(std::string_view text);
// `text` when it is a valid URL, else "".
std::string urlWithString(std::string_view text);
// The path of a valid URL ("/a/b.jpg" of "https://h/a/b.jpg?x"), "" when it has none.
std::string path(std::string_view url);
// "file://" + the absolute path.
std::string fileURL(const std::filesystem::path& file);
// The local URL of the resource `name` when the host's resources directory holds such a
// regular file; "" otherwise.
std::string resourceURLNamed(std::string_view name);
// resourceURLNamed of the MD5 hex digest of `text`.
std::string resourceURLForText(std::string_view text);
// Leading and trailing white space and line breaks removed.
std::string trimmed(std::string_view text);

}  // namespace handbook_url
}  // namespace dm
