// Uses the installed library: prints its version and a resource it embeds.
#include <cstdio>

#include "Platform/Foundation/EmbeddedResources.h"
#include "Platform/Foundation/Version.h"

int main() {
  std::printf("DataModel %s\n", dm::DataModelVersionString);
  return dm::EmbeddedResources::names().empty() ? 1 : 0;
}
