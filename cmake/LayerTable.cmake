# What may include what: one entry per layer, lowest first, as
#   "Name|Folder under Sources|layers it may include (comma-separated)|extra generated files"
# A layer sees its own headers and, through them, everything its listed layers see. The
# reasons are in docs/layers.md; keep the two in step. A folder that does not exist yet yields
# no target, so a subsystem can be declared before it is written.
set(DM_LAYERS
  # The platform: storage engine and mapping engine, independent of any record.
  "Foundation|Platform/Foundation||EmbeddedResourcesData.cpp"
  "Host|Platform/Host|Foundation|"
  "ObjectStore|Platform/ObjectStore|Foundation|"
  "ObjectMapping|Platform/ObjectMapping|ObjectStore|"
  # Record bases, enumeration tables and the mapping registry; then the main store.
  "MappingRecords|Mapping|ObjectMapping|"
  "UserData|UserData|MappingRecords|"
  # The handbook: its own store and records, read by training and nutrition.
  "Handbook|Handbook|MappingRecords,Host|Models/HandbookEntities.h,Models/HandbookRecords.h,Models/HandbookRecords.cpp"
  # The main store's records, each subsystem over the ones it is built on.
  "Profile|Profile|UserData|"
  "Units|Units|Profile|"
  "Social|Social|Profile,Host|"
  "Finance|Finance|Profile|"
  "Accounts|Accounts|Social|"
  "Measurements|Measurements|Units,Accounts|"
  "Nutrition|Nutrition|Units,Handbook|"
  "Training|Training|Nutrition,Finance,Units,Handbook,Host|"
  # Services over every record subsystem.
  "Sync|Sync|Training,Measurements,Finance,Accounts|"
  "Report|Report|Sync|")
