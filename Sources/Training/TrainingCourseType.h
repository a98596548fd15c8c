// How a course came to be: made from a preset, bought from a trainer, or neither. Decides
// whether exercise alternatives are restricted by the preset's equipment.
#pragma once

namespace dm {

class TrainingCourseEntity;
class TrainingCoursePresetEntity;

enum class TrainingCourseType : int { Preset = 0, Invoice = 1, Other = 2 };

// Preset when the course has a preset id, Invoice when it names an invoice, else Other.
TrainingCourseType courseTypeOf(const TrainingCourseEntity& course);
// The preset whose entityID is the course's presetId, in the course's context; nullptr
// without one.
TrainingCoursePresetEntity* presetOf(const TrainingCourseEntity& course);

}  // namespace dm
