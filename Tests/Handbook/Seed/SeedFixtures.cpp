// Fixture seed sources for the seed tests.
#include "SeedFixtures.h"

#include "Support/TempDir.h"

namespace dm::test {

// Sorted by slug the ids are: Barbell_Bench_Press 10001, Dumbbell_Bench_Press 10002,
// Dumbbell_Fly 10003, Hamstring_Stretch 10004, Plank 10005, Push_Up 10006.
const char* const kFixtureExercisesJson = R"([
  {"id": "Push_Up", "name": "Push-Up", "category": "strength", "equipment": "body only",
   "force": "push", "level": "beginner", "mechanic": "compound",
   "primaryMuscles": ["chest"], "secondaryMuscles": ["triceps", "shoulders"],
   "instructions": ["Lie face down.", "Push the body up."], "images": []},
  {"id": "Barbell_Bench_Press", "name": "Barbell Bench Press", "category": "strength",
   "equipment": "barbell", "force": "push", "level": "beginner", "mechanic": "compound",
   "primaryMuscles": ["chest"], "secondaryMuscles": ["triceps"],
   "instructions": ["Lower the bar.", "Press it up."],
   "images": ["Barbell_Bench_Press/0.jpg", "Barbell_Bench_Press/1.jpg"]},
  {"id": "Dumbbell_Bench_Press", "name": "Dumbbell Bench Press", "category": "strength",
   "equipment": "dumbbell", "force": "push", "level": "beginner", "mechanic": "compound",
   "primaryMuscles": ["chest"], "secondaryMuscles": [], "instructions": ["Press."]},
  {"id": "Dumbbell_Fly", "name": "Dumbbell Fly", "category": "strength",
   "equipment": "dumbbell", "force": "push", "level": "intermediate", "mechanic": "isolation",
   "primaryMuscles": ["chest"], "secondaryMuscles": [], "instructions": ["Open the arms."],
   "images": ["Dumbbell Fly/0 (side).jpg"]},
  {"id": "Plank", "name": "Plank", "category": "strength", "equipment": null,
   "force": "static", "level": "beginner", "mechanic": null,
   "primaryMuscles": ["abdominals"], "secondaryMuscles": [], "instructions": ["Hold."]},
  {"id": "Hamstring_Stretch", "name": "Hamstring Stretch", "category": "stretching",
   "equipment": null, "force": null, "level": "beginner", "mechanic": null,
   "primaryMuscles": ["hamstrings"], "secondaryMuscles": [], "instructions": []}
]
)";

// Sorted by code: A001 50001, B002 50002, C001 50003.
const char* const kFixtureFoodsCsv =
    "Food Code; code,Food Name; name,Scientific Name; scie,Local Name; lang,Food Group; grup,"
    "Energy; enerc,Protein; protcnt,Iron; fe,Ascorbic acids (C); vitc,Ergocalciferol (D2); "
    "ergcal,Cholecalciferol (D3); chocal\r\n"
    "B002,\"Rice, parboiled\",Oryza sativa,\"H. \"\"Chawal\"\".\",Cereals and Millets,1490,7.5,"
    "0.0021,,0.00005867,\r\n"
    "A001,Amaranth seed,,,Cereals and Millets,,14.59,0,0,,\r\n"
    "C001,Milk,,\"H. Doodh;\nTam. Paal\",Milk and Milk Products,250,3.2,,0.002,,0.000001\r\n";

void writeSeedSource(const std::filesystem::path& dir, const std::string& exercisesJson,
                     const std::string& foodsCsv) {
  std::filesystem::create_directories(dir / "free-exercise-db");
  std::filesystem::create_directories(dir / "ifct2017");
  writeFile(dir / "free-exercise-db" / "exercises.json", exercisesJson);
  writeFile(dir / "ifct2017" / "compositions.csv", foodsCsv);
}

std::filesystem::path projectSeedsDir() {
  // fixturePath gives <source>/Tests/Fixtures/<name>.
  return fixturePath("x").parent_path().parent_path().parent_path() / "Resources" / "Seeds";
}

nlohmann::json findRecord(const nlohmann::json& dictionary, const char* key, std::uint64_t id) {
  for (const auto& record : dictionary.at(key)) {
    if (record.at("id").get<std::uint64_t>() == id) return record;
  }
  return nullptr;
}

}  // namespace dm::test
