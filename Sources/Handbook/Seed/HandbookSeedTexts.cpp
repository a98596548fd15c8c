// Texts of the seed articles and FAQ entries.
#include "Handbook/Seed/HandbookSeedTexts.h"

namespace dm {

const std::vector<SeedText>& seedArticles() {
  static const std::vector<SeedText> articles = {
      {SeedTextTopic::Training,
       "Warming up before strength training",
       {"A warm-up raises muscle temperature and heart rate and rehearses the movements of "
        "the session. Five to ten minutes of easy cardio followed by lighter sets of the first "
        "exercise is usually enough.",
        "Ramp the weight up over two to four sets before the working sets: for example half, "
        "then three quarters of the working weight, with fewer repetitions each time. Warm-up "
        "sets should not be tiring.",
        "Long static stretches right before heavy lifting are not needed; keep them for the end "
        "of the session or for a separate mobility routine."},
       "Stop and seek advice if you feel sharp pain, dizziness or chest discomfort."},
      {SeedTextTopic::Training,
       "Sets, repetitions and progression",
       {"A set is a run of repetitions done without rest. Heavier weights allow fewer "
        "repetitions: sets of 1 to 5 mostly build strength, 6 to 12 build muscle size, and 15 "
        "or more build endurance.",
        "Progress comes from doing slightly more over time: a little more weight, one more "
        "repetition, or one more set. Change one of these at a time and only when the current "
        "load feels controlled through the full range of motion.",
        "Rest one to two minutes between sets for muscle-building work and two to five minutes "
        "for heavy strength work."},
       ""},
      {SeedTextTopic::Training,
       "Recovery between workouts",
       {"Muscles adapt between sessions, not during them. Most people recover from a hard "
        "session for a muscle group within 48 to 72 hours.",
        "Sleep of seven to nine hours, enough protein and spreading hard sessions over the "
        "week matter more for recovery than any single supplement.",
        "Soreness alone is not a reliable sign of a good workout; steadily rising performance "
        "is."},
       ""},
      {SeedTextTopic::Nutrition,
       "Energy balance and calories",
       {"Body weight follows the balance between the energy you eat and the energy you use. "
        "Food energy is given in kilocalories (kcal); one kilocalorie is 4.184 kilojoules.",
        "Protein and carbohydrate provide about 4 kcal per gram, fat about 9 kcal per gram. "
        "Food tables give values per 100 g of the edible part, so a portion's energy is its "
        "weight divided by 100, times the table value.",
        "A modest deficit of 300 to 500 kcal a day gives steady weight loss; a similar surplus, "
        "together with strength training, supports muscle gain."},
       "Very low calorie diets should only be followed under medical supervision."},
      {SeedTextTopic::Nutrition,
       "Protein for active people",
       {"Protein supplies the building blocks for repairing and growing muscle. People who "
        "train regularly benefit from about 1.6 to 2.2 g of protein per kilogram of body "
        "weight a day.",
        "Spreading protein over three to five meals works better than one large serving. "
        "Meat, fish, eggs, dairy, pulses and soy are all good sources; combining cereals with "
        "pulses improves the protein quality of plant-based meals."},
       "People with kidney disease should agree their protein intake with a doctor."},
      {SeedTextTopic::Nutrition,
       "Reading nutrient values",
       {"Each food product lists its energy and nutrients per 100 g. Macronutrients (protein, "
        "fat, carbohydrate, fibre and the fatty acids) are given in grams.",
        "Cholesterol, minerals, vitamin C, vitamin E, vitamin B6 and riboflavin are given in "
        "milligrams; vitamin A, vitamin D and beta-carotene in micrograms.",
        "A nutrient that was not measured for a food is left out rather than shown as zero."},
       ""},
  };
  return articles;
}

const std::vector<SeedText>& seedFaqs() {
  static const std::vector<SeedText> faqs = {
      {SeedTextTopic::Training,
       "How often should I train each muscle group?",
       {"Training each muscle group two or three times a week gives good results for most "
        "people. Leave at least one day between hard sessions for the same muscles."},
       ""},
      {SeedTextTopic::Training,
       "What is an alternative exercise?",
       {"An alternative works the same main muscle with similar equipment and the same way of "
        "counting sets. Use it when the planned equipment is busy or an exercise does not suit "
        "you."},
       ""},
      {SeedTextTopic::Training,
       "Should I do cardio before or after weights?",
       {"If strength is the goal, lift first while you are fresh and do cardio afterwards or on "
        "another day. A short, easy bout of cardio before lifting works well as a warm-up."},
       ""},
      {SeedTextTopic::Nutrition,
       "How many calories are in a gram of fat, protein and carbohydrate?",
       {"About 9 kcal in a gram of fat and about 4 kcal in a gram of protein or carbohydrate. "
        "Alcohol provides about 7 kcal per gram."},
       ""},
      {SeedTextTopic::Nutrition,
       "Why are some nutrient values missing?",
       {"Food composition tables only list what was measured. When a value was not measured "
        "for a food it is left out instead of being shown as zero, so a missing value means "
        "unknown, not none."},
       ""},
  };
  return faqs;
}

}  // namespace dm
