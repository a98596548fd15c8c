// dmctl as a script or a person meets it: every command answers in JSON with --json (errors
// included), exit statuses follow the documented table, global options work after the
// command, map refuses a payload that maps nothing, and progress shows only on a terminal.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Support/DmctlProcess.h"
#include "Support/TempDir.h"

namespace dm::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// The commands the completion script knows: every path of the command tree.
std::set<std::string> commandPaths(const std::string& script) {
  std::set<std::string> paths;
  static const std::regex pattern(R"re(^\s+"([a-z][^"]*)"\) path=)re");
  std::istringstream lines(script);
  std::string line;
  std::smatch match;
  while (std::getline(lines, line))
    if (std::regex_search(line, match, pattern)) paths.insert(match[1]);
  return paths;
}

json updatePayload(int version, int articles) {
  json list = json::array();
  for (int i = 1; i <= articles; ++i)
    list.push_back({{"id", 500000 + i}, {"title", "article " + std::to_string(i)}});
  return {{"status", "changed"}, {"version", version}, {"post_articles", list}};
}

class DmctlCommandLineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (dmctlBinary().empty()) GTEST_SKIP() << "dmctl is not built";
    writeFile(dir / "user.json", R"({"user": {"id": 42, "firstName": "Ada", "lastName": "L"}})");
    writeFile(dir / "update.json", updatePayload(900001, 300).dump());
    writeFile(dir / "fields.json", R"({"email": "ada@example.com", "password": "p"})");
  }

  // dmctl on this test's data directory.
  DmctlRun run(std::vector<std::string> arguments, std::vector<std::string> environment = {}) {
    arguments.insert(arguments.begin(), {"--data-dir", data().string()});
    return runDmctl(dir.path(), arguments, environment);
  }
  fs::path data() const { return dir / "data"; }
  std::string file(const std::string& name) const { return (dir / name).string(); }

  TempDir dir;
};

// One command of the tree, run with --json: the exit status and either the fields its answer
// carries (of the first element when it is a list) or the error code.
struct CommandCase {
  std::string path;
  std::vector<std::string> arguments;
  int status;
  std::vector<std::string> fields;
  std::string errorCode = "";
};

TEST_F(DmctlCommandLineTest, EveryCommandAnswersInJsonWithTheDocumentedFields) {
  const std::string seeds = fixturePath("../../Resources/Seeds").lexically_normal().string();
  // In order: later rows read what earlier ones stored.
  const std::vector<CommandCase> cases = {
      {"info", {}, 0, {"version", "resources"}},
      {"classes", {}, 0, {"name", "kind", "rootKeyPath", "identificationAttributes"}},
      {"completion", {}, 2, {}, "usage"},
      {"completion bash", {}, 0, {"text"}},
      {"settings set", {"units.test", "5"}, 0, {"key", "value"}},
      {"settings get", {"units.test"}, 0, {}},
      {"settings remove", {"units.test"}, 0, {"key", "removed"}},
      {"settings", {}, 0, {}},
      {"map",
       {"UserEntity", file("user.json"), "--key-path", "user", "--save"},
       0,
       {"class", "mapped", "inserted", "updated", "unchanged", "skipped", "saved", "seconds"}},
      {"serialize", {"SignInRequest", file("fields.json")}, 0, {"email", "password"}},
      {"store", {}, 2, {}, "usage"},
      {"store info", {}, 0, {"path", "model", "entities"}},
      {"store query", {"UserEntity", "--limit", "1"}, 0, {"_entity", "entityID"}},
      {"handbook", {}, 2, {}, "usage"},
      {"handbook apply-update", {file("update.json")}, 0, {"applied", "records", "version"}},
      {"handbook status", {}, 0, {"store", "language", "counts"}},
      {"handbook tree", {}, 0, {}},
      {"handbook search", {"article 1"}, 0, {"id", "title", "kind"}},
      {"handbook post", {"500001"}, 0, {"id", "title", "description"}},
      {"handbook build-seed",
       {"--source", seeds, "--out", file("seed.zip"), "--limit", "2"},
       0,
       {"file", "records"}},
      {"handbook seed-dictionary",
       {"--source", seeds, "--out", file("dictionary.json"), "--limit", "2"},
       0,
       {"file", "exercises", "products"}},
      {"units", {}, 0, {"units", "country"}},
      {"units set", {"weight", "imperial"}, 0, {"setting", "value"}},
      {"units convert", {"70kg", "180cm"}, 0, {"input", "shown"}},
      {"units height", {"180"}, 0, {"centimetres", "shown"}},
      {"units reset", {}, 0, {"reset"}},
      {"measurements", {}, 0, {}},
      {"measurements edit", {"999", "--set", "waist=90"}, 1, {}, "not_found"},
      {"feed", {}, 0, {}},
      {"chat", {"1"}, 0, {}},
      {"finance", {"wallet"}, 0, {}},
      {"nutrition", {}, 2, {}, "usage"},
      {"nutrition diet", {"2026-01-01"}, 1, {}, "failed"},
      {"nutrition upload", {"2026-01-01"}, 1, {}, "failed"},
      {"nutrition pharmacy", {}, 0, {}},
      {"nutrition sport-food", {}, 0, {}},
      {"training", {}, 2, {}, "usage"},
      {"training day", {"1"}, 1, {}, "failed"},
      {"training sets", {"1"}, 1, {}, "failed"},
      {"training complete-set", {"1", "--value", "80"}, 1, {}, "failed"},
      {"training correct-set", {"no-such-guid", "--repeats", "5"}, 1, {}, "failed"},
      {"training remove-set", {"no-such-guid"}, 1, {}, "failed"},
      {"training course", {"1"}, 1, {}, "failed"},
      {"training prescriptions", {"1", file("user.json")}, 1, {}, "nothing_mapped"},
      {"training stats", {"week"}, 0, {}},
      {"training favourites", {}, 0, {}},
      {"outbox", {}, 0, {}},
      {"outbox list", {}, 0, {}},
      {"outbox body", {"1"}, 1, {}, "failed"},
      {"outbox ack", {file("absent.json")}, 1, {}, "not_found"},
      {"report", {"--out", file("report")}, 0, {}},
      {"replay", {file("absent-recording")}, 1, {}, "failed"},
  };

  auto completion = run({"completion", "bash"});
  ASSERT_EQ(completion.status, 0) << completion.err;
  const auto paths = commandPaths(completion.out);
  ASSERT_GT(paths.size(), 10u) << completion.out;

  std::set<std::string> covered;
  for (const auto& row : cases) {
    SCOPED_TRACE("dmctl " + row.path);
    covered.insert(row.path);
    std::vector<std::string> arguments;
    std::istringstream words(row.path);
    for (std::string word; words >> word;) arguments.push_back(word);
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    arguments.push_back("--json");  // a global option after the command
    auto result = run(arguments);
    EXPECT_EQ(result.status, row.status) << result.out << result.err;
    auto answer = json::parse(result.out, nullptr, /*allow_exceptions=*/false);
    ASSERT_FALSE(answer.is_discarded()) << "not one JSON document: " << result.out;
    if (row.status != 0) {
      ASSERT_TRUE(answer.contains("error")) << answer.dump();
      EXPECT_EQ(answer["error"]["code"], row.errorCode) << answer.dump();
      EXPECT_FALSE(answer["error"]["message"].get<std::string>().empty());
      continue;
    }
    EXPECT_FALSE(answer.contains("error")) << answer.dump();
    const json& record = answer.is_array() && !answer.empty() ? answer.front() : answer;
    for (const auto& field : row.fields)
      EXPECT_TRUE(record.contains(field)) << field << " missing in " << answer.dump();
  }
  // A command added later must be added to the table above.
  for (const auto& path : paths)
    EXPECT_TRUE(covered.count(path)) << "dmctl " << path << " has no row in the table";
  for (const auto& path : covered)
    EXPECT_TRUE(paths.count(path)) << "dmctl " << path << " is not in the command tree";
}

TEST_F(DmctlCommandLineTest, OnlyTheSignedInProfileWritesMessages) {
  auto refused = run({"chat", "12", "--write", "Done", "--guid", "m-1"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("no profile is signed in"), std::string::npos) << refused.err;
  EXPECT_EQ(run({"outbox", "list"}).out, "nothing to send\n");  // nothing was stored

  ASSERT_EQ(run({"map", "UserEntity", file("user.json"), "--key-path", "user", "--save"}).status,
            0);
  ASSERT_EQ(run({"chat", "12", "--write", "Done", "--guid", "m-1"}).status, 0);
  auto messages = json::parse(run({"chat", "12", "--json"}).out);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0]["authorId"], 42);
  EXPECT_EQ(messages[0]["guid"], "m-1");
}

TEST_F(DmctlCommandLineTest, ExitStatusesFollowTheTableInTheHelp) {
  auto help = runDmctl(dir.path(), {});
  EXPECT_EQ(help.status, 0);
  for (const char* line : {"Exit status:", "0  success", "1  the command failed", "2  usage error",
                           "3  a requested write did not reach the file"})
    EXPECT_NE(help.out.find(line), std::string::npos) << line << " missing in " << help.out;

  EXPECT_EQ(run({"info"}).status, 0);

  auto unknown = run({"hanbook", "status"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("unknown command \"hanbook\""), std::string::npos) << unknown.err;
  EXPECT_NE(unknown.err.find("did you mean \"handbook\""), std::string::npos) << unknown.err;
  auto nested = run({"--json", "handbook", "stauts"});
  EXPECT_EQ(nested.status, 2);
  EXPECT_EQ(json::parse(nested.out)["error"]["code"], "usage");
  EXPECT_NE(nested.out.find("did you mean \\\"status\\\""), std::string::npos) << nested.out;

  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"store", "query", "UserEntity", "--limit", "-1"},
           {"handbook", "build-seed", "--source", dir.path().string(), "--out", file("x"),
            "--limit", "-1"}}) {
    auto negative = run(arguments);
    EXPECT_EQ(negative.status, 2) << negative.err;
    EXPECT_NE(negative.err.find("must be 0 or more"), std::string::npos) << negative.err;
    EXPECT_FALSE(std::regex_search(negative.err, std::regex("[0-9]{20}"))) << negative.err;
  }

  auto missing = run({"--json", "map", "UserEntity", file("absent.json")});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(json::parse(missing.out)["error"]["code"], "not_found");
  auto noPost = run({"handbook", "post", "987654321", "--json"});
  EXPECT_EQ(noPost.status, 1);
  EXPECT_EQ(json::parse(noPost.out)["error"]["code"], "not_found");

  // The settings directory is a file: the value cannot be stored.
  writeFile(dir / "flat", "x");
  auto notWritten =
      runDmctl(dir.path(), {"--data-dir", file("flat"), "settings", "set", "a", "1", "--json"});
  EXPECT_EQ(notWritten.status, 3);
  EXPECT_EQ(json::parse(notWritten.out)["error"]["code"], "not_written");
  // Without --json the reason is text on stderr and stdout stays empty.
  auto text = runDmctl(dir.path(), {"--data-dir", file("flat"), "settings", "set", "a", "1"});
  EXPECT_EQ(text.status, 3);
  EXPECT_TRUE(text.out.empty()) << text.out;
  EXPECT_NE(text.err.find("dmctl: could not save settings"), std::string::npos) << text.err;
}

TEST_F(DmctlCommandLineTest, LibraryFailuresReportTheLibrarysCodeName) {
  writeFile(dir / "broken.json", R"({"user": {"id": )");
  writeFile(dir / "model.json", R"({"entities": [)");
  fs::create_directories(dir / "no-sources");
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"store", "query", "UserEntity", "--where", "firstName =="}, "invalid_predicate"},
      {{"store", "query", "UserEntity", "--where", "nosuch = 1"}, "invalid_predicate"},
      {{"map", "UserEntity", file("broken.json")}, "malformed_payload"},
      {{"map", "UserEntity", file("user.json"), "--model", file("model.json")}, "invalid_model"},
      {{"handbook", "build-seed", "--source", file("no-sources"), "--out", file("seed.zip")},
       "invalid_seed_source"},
  };
  for (const auto& [arguments, code] : cases) {
    SCOPED_TRACE(code);
    auto withJson = arguments;
    withJson.push_back("--json");
    auto result = run(withJson);
    EXPECT_EQ(result.status, 1) << result.out << result.err;
    auto answer = json::parse(result.out, nullptr, /*allow_exceptions=*/false);
    ASSERT_TRUE(answer.contains("error")) << result.out;
    EXPECT_EQ(answer["error"]["code"], code) << answer.dump();
  }
  auto help = runDmctl(dir.path(), {});
  EXPECT_NE(help.out.find("invalid_predicate"), std::string::npos) << help.out;
}

TEST_F(DmctlCommandLineTest, GlobalOptionsWorkBeforeAndAfterTheCommand) {
  auto before = run({"--json", "--quiet", "handbook", "status"});
  auto after = runDmctl(dir.path(),
                        {"handbook", "status", "--data-dir", data().string(), "--json", "--quiet"});
  ASSERT_EQ(before.status, 0) << before.err;
  ASSERT_EQ(after.status, 0) << after.err;
  EXPECT_EQ(json::parse(before.out)["store"], json::parse(after.out)["store"]);
  EXPECT_NE(json::parse(after.out)["store"].get<std::string>().find(data().string()),
            std::string::npos);
}

TEST_F(DmctlCommandLineTest, MapSummarisesAndRefusesAPayloadThatMapsNothing) {
  // The user is wrapped under "user": mapped at the root it would be an empty record.
  auto wrapped = run({"--json", "map", "UserEntity", file("user.json"), "--save"});
  EXPECT_EQ(wrapped.status, 1);
  auto error = json::parse(wrapped.out)["error"];
  EXPECT_EQ(error["code"], "nothing_mapped");
  EXPECT_NE(error["message"].get<std::string>().find("--key-path user"), std::string::npos)
      << error.dump();
  EXPECT_EQ(json::parse(run({"store", "query", "UserEntity"}).out), json::array());

  writeFile(dir / "empty.json", R"({"users": []})");
  auto empty = run({"map", "UserEntity", file("empty.json"), "--key-path", "users"});
  EXPECT_EQ(empty.status, 1);
  EXPECT_NE(empty.err.find("nothing mapped"), std::string::npos) << empty.err;

  // By default a summary only; the records with --print.
  auto saved = run({"map", "UserEntity", file("user.json"), "--key-path", "user", "--save"});
  ASSERT_EQ(saved.status, 0) << saved.err;
  EXPECT_NE(saved.out.find("1 record(s) mapped: 1 inserted"), std::string::npos) << saved.out;
  EXPECT_EQ(saved.out.find("Ada"), std::string::npos) << saved.out;
  auto again =
      run({"--json", "map", "UserEntity", file("user.json"), "--key-path", "user", "--print"});
  ASSERT_EQ(again.status, 0) << again.err;
  auto summary = json::parse(again.out);
  EXPECT_EQ(summary["inserted"], 0);
  EXPECT_EQ(summary["mapped"], 1);
  ASSERT_EQ(summary["records"].size(), 1u);
  EXPECT_EQ(summary["records"][0]["values"]["firstName"], "Ada");
}

// A course's list reaches the store only with --save, and only for a course that is stored.
TEST_F(DmctlCommandLineTest, TrainingPrescriptionsSaveOnlyWhenAskedAndOnlyForAStoredCourse) {
  writeFile(dir / "course.json", R"({"course": {"id": 7001, "name": "Strength"}})");
  writeFile(dir / "pharmacy.json", R"({"pharmacies": [{"id": 1, "post_pharmacy_id": 301}]})");
  writeFile(dir / "both.json", R"({"pharmacies": [], "sport_foods": []})");
  auto prescribed = [&] {
    return json::parse(run({"--json", "training", "course", "7001"}).out)["pharmacy"].size();
  };

  auto noCourse = run({"--json", "training", "prescriptions", "7001", file("pharmacy.json")});
  EXPECT_EQ(noCourse.status, 1);
  EXPECT_EQ(json::parse(noCourse.out)["error"]["code"], "not_found") << noCourse.out;
  ASSERT_EQ(
      run({"map", "TrainingCourseEntity", file("course.json"), "--key-path", "course", "--save"})
          .status,
      0);

  auto dryRun = run({"--json", "training", "prescriptions", "7001", file("pharmacy.json")});
  ASSERT_EQ(dryRun.status, 0) << dryRun.out << dryRun.err;
  EXPECT_EQ(json::parse(dryRun.out)["inserted"], 1);
  EXPECT_EQ(json::parse(dryRun.out)["saved"], false);
  EXPECT_EQ(prescribed(), 0u);

  auto saved = run({"training", "prescriptions", "7001", file("pharmacy.json"), "--save"});
  ASSERT_EQ(saved.status, 0) << saved.err;
  EXPECT_NE(saved.out.find("1 inserted"), std::string::npos) << saved.out;
  EXPECT_EQ(prescribed(), 1u);

  // Both lists in one file: the tool cannot tell which route answered.
  EXPECT_EQ(run({"training", "prescriptions", "7001", file("both.json"), "--save"}).status, 2);
  EXPECT_EQ(prescribed(), 1u);
  auto chosen =
      run({"training", "prescriptions", "7001", file("both.json"), "--kind", "pharmacy", "--save"});
  EXPECT_EQ(chosen.status, 0) << chosen.err;
  EXPECT_EQ(prescribed(), 0u);
}

TEST_F(DmctlCommandLineTest, ProgressShowsOnATerminalOnly) {
  const std::vector<std::string> apply = {"--data-dir", data().string(), "handbook", "apply-update",
                                          file("update.json")};
  const std::vector<std::string> now = {"DMCTL_PROGRESS_DELAY=0"};

  auto terminal = runDmctlOnTerminal(apply, now);
  EXPECT_EQ(terminal.status, 0) << terminal.out;
  EXPECT_NE(terminal.out.find("apply-update ["), std::string::npos) << terminal.out;
  EXPECT_NE(terminal.out.find("300/300 records"), std::string::npos) << terminal.out;
  EXPECT_NE(terminal.out.find("/s"), std::string::npos) << terminal.out;
  EXPECT_NE(terminal.out.find("\napplied "), std::string::npos) << terminal.out;

  auto quiet = runDmctlOnTerminal(
      {"--data-dir", data().string(), "handbook", "apply-update", file("update.json"), "--quiet"},
      now);
  EXPECT_EQ(quiet.status, 0) << quiet.out;
  EXPECT_EQ(quiet.out.find("apply-update ["), std::string::npos) << quiet.out;

  auto piped = runDmctl(dir.path(), apply, now);
  EXPECT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(piped.err.find("apply-update"), std::string::npos) << piped.err;
  EXPECT_EQ(piped.err.find('\r'), std::string::npos) << piped.err;
}

}  // namespace
}  // namespace dm::test
