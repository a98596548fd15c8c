// dmctl's JSON output: under --json stdout carries exactly one JSON document, the command's
// answer or {"error": {"code": ..., "message": ...}}. Commands print their JSON as usual;
// main captures stdout while the command runs and emits the document when it ends.
#pragma once

#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

#include "dmctl/ErrorCode.h"

namespace dmctl {

// Writes `value` and a newline to stdout, whole (texts may hold NUL bytes); invalid UTF-8 in
// stored texts is replaced rather than failing the output. indent -1: one line.
void printJson(const nlohmann::json& value, int indent = 2);

// {"error": {"code": "<name>", "message": "<message>"}}
nlohmann::json errorDocument(FailureCode code, const std::string& message);

// Turns what a command printed under --json into one document: JSON text as it is, lines
// that are each JSON as an array of them, anything else as {"text": "..."} (a command that
// has no JSON form of its own), nothing as {}.
std::string normalizedJsonOutput(const std::string& printed);

// Redirects stdout (the descriptor, so printf, iostreams and child writes alike) into a
// temporary file until finish(). Main thread only; one capture at a time.
class StdoutCapture {
 public:
  StdoutCapture();
  ~StdoutCapture();
  StdoutCapture(const StdoutCapture&) = delete;
  StdoutCapture& operator=(const StdoutCapture&) = delete;

  // Restores stdout and returns what was written to it since construction.
  std::string finish();

 private:
  std::FILE* file_ = nullptr;
  int savedStdout_ = -1;
};

}  // namespace dmctl
