// The requests that change a profile: user update, name and gender, trainer services, abuse
// reports and recalls. Transient records declared in the store model (the "records" of
// Resources/Models/Korvalo/Profile.json), sent through their `serialized` trees.
#pragma once

#include "Profile/AbuseUserRequest.h"
#include "Profile/PostRecallRequest.h"
#include "Profile/ProfileRequest.h"
#include "Profile/TrainerServiceAddRequest.h"
#include "Profile/TrainerServiceUpdateRequest.h"
#include "Profile/UpdateUserRequest.h"
