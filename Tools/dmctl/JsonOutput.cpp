// Printing JSON documents and capturing stdout for --json.
#include "dmctl/JsonOutput.h"

#include <unistd.h>

#include <iostream>
#include <sstream>

namespace dmctl {

void printJson(const nlohmann::json& value, int indent) {
  const std::string text =
      value.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  std::fwrite(text.data(), 1, text.size(), stdout);
}

nlohmann::json errorDocument(FailureCode code, const std::string& message) {
  return {{"error", {{"code", code.name()}, {"message", message}}}};
}

std::string normalizedJsonOutput(const std::string& printed) {
  if (printed.find_first_not_of(" \t\r\n") == std::string::npos) return "{}\n";
  if (nlohmann::json::accept(printed)) return printed.back() == '\n' ? printed : printed + "\n";
  nlohmann::json lines = nlohmann::json::array();
  std::istringstream in(printed);
  std::string line;
  bool allJson = true;
  while (allJson && std::getline(in, line)) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    auto value = nlohmann::json::parse(line, nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded()) allJson = false;
    lines.push_back(std::move(value));
  }
  nlohmann::json document = allJson ? lines : nlohmann::json{{"text", printed}};
  return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

StdoutCapture::StdoutCapture() {
  std::fflush(stdout);
  std::cout.flush();
  file_ = std::tmpfile();
  if (!file_) return;  // nowhere to capture: the command writes straight through
  savedStdout_ = ::dup(STDOUT_FILENO);
  if (savedStdout_ < 0 || ::dup2(::fileno(file_), STDOUT_FILENO) < 0) {
    if (savedStdout_ >= 0) ::close(savedStdout_);
    savedStdout_ = -1;
    std::fclose(file_);
    file_ = nullptr;
  }
}

StdoutCapture::~StdoutCapture() {
  finish();
}

std::string StdoutCapture::finish() {
  if (!file_) return {};
  std::fflush(stdout);
  std::cout.flush();
  ::dup2(savedStdout_, STDOUT_FILENO);
  ::close(savedStdout_);
  savedStdout_ = -1;
  std::string text;
  std::rewind(file_);
  char buffer[1 << 16];
  std::size_t n = 0;
  while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0) text.append(buffer, n);
  std::fclose(file_);
  file_ = nullptr;
  return text;
}

}  // namespace dmctl
