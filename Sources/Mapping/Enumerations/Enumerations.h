// Every enumeration of the records with its code and title tables, for code that needs
// several of them; include the group headers directly when one will do.
#pragma once

#include "Mapping/EntityStatus.h"
#include "Mapping/Enumerations/AbuseType.h"
#include "Mapping/Enumerations/CodeTable.h"
#include "Mapping/Enumerations/CourseEnumerations.h"
#include "Mapping/Enumerations/ExerciseEnumerations.h"
#include "Mapping/Enumerations/FinanceEnumerations.h"
#include "Mapping/Enumerations/HandbookEnumerations.h"
#include "Mapping/Enumerations/NutritionEnumerations.h"
#include "Mapping/Enumerations/UserEnumerations.h"
