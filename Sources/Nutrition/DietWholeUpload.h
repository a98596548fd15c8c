// The upload of a whole diet day, sent for one week day.
#pragma once

#include <memory>
#include <string>

#include "Nutrition/DietWholeUploadRequest.h"

namespace dm {

class DietEntity;

// The request for `diet` sent with `weekday` (under "week", unchanged): every meal of the
// diet with its time and products in stored order, the targets as stored (unset stays
// unset), and "common_advices" always present ("" when the diet has none). On the diet's
// context queue.
std::shared_ptr<DietWholeUploadRequest> requestWithDiet(const DietEntity& diet,
                                                        const std::string& weekday);

}  // namespace dm
