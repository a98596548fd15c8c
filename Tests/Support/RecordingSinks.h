// What a test's code logs and reports: a recording logger and a recording diagnostic-event sink,
// installed for the object's lifetime, the defaults put back when it ends.
#pragma once

#include <memory>

#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/Logger.h"

namespace dm::test {

struct RecordingSinks {
  RecordingSinks() {
    Logger::setShared(logger);
    DiagnosticEvents::setShared(events);
  }
  ~RecordingSinks() {
    Logger::setShared(nullptr);
    DiagnosticEvents::setShared(nullptr);
  }
  RecordingSinks(const RecordingSinks&) = delete;
  RecordingSinks& operator=(const RecordingSinks&) = delete;

  std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
  std::shared_ptr<RecordingDiagnosticEvents> events = std::make_shared<RecordingDiagnosticEvents>();
};

}  // namespace dm::test
