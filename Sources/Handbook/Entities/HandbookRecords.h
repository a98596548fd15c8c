// Registration of the handbook store's record classes.
#pragma once

namespace dm {

// Registers the classes the handbook store instantiates: the generated accessor classes of
// every handbook entity, then the hand-written ones that add behaviour. May be called again;
// any thread, but before handbook records are created or fetched.
void registerHandbookRecords();

}  // namespace dm
