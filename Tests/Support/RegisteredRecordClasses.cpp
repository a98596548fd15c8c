// Test binaries stand in for a host's composition root: every record class is registered
// before any test runs, as DataModel::open does for an application.
#include "DataModel.h"

namespace {
const bool kRegistered = [] {
  dm::registerRecordClasses();
  return true;
}();
}  // namespace
