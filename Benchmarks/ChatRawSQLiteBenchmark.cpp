// The storage limit for the chat benchmarks (see ChatBenchmark.cpp): the same payloads parsed
// with simdjson's DOM and the same rows stored with prepared statements, one transaction per
// payload (WAL, synchronous=NORMAL); the newest page read with one indexed query.
#include <simdjson.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "BenchmarkArguments.h"
#include "ChatPayload.h"
#include "RawSQLite.h"

namespace {

using Clock = std::chrono::steady_clock;

using bench::raw::Db;
using bench::raw::exec;
using bench::raw::prepare;
using bench::raw::Stmt;

using bench::Result;
using bench::secondsSince;

Db open(const std::string& dir) {
  Db db = bench::raw::open(dir + "/chat.sqlite");
  // The same columns and indexes the message entity has.
  exec(db.get(),
       "CREATE TABLE Message (pk INTEGER PRIMARY KEY, entityID INTEGER, guid TEXT, "
       "chatID INTEGER, authorID INTEGER, time REAL, text TEXT, attachmentType INTEGER, "
       "attachmentURL TEXT, attachmentPreviewURL TEXT, deliveryState INTEGER, sortingID INTEGER);"
       "CREATE INDEX Message_entityID ON Message(entityID);"
       "CREATE INDEX Message_guid ON Message(guid);"
       "CREATE INDEX Message_chatID ON Message(chatID);"
       "CREATE INDEX Message_sortingID ON Message(sortingID);"
       "CREATE INDEX Message_chat_sorting ON Message(chatID, sortingID);");
  return db;
}

void step(sqlite3_stmt* stmt) {
  if (sqlite3_step(stmt) != SQLITE_DONE) throw std::runtime_error("step failed");
  sqlite3_reset(stmt);
}

void bindText(sqlite3_stmt* stmt, int index, std::string_view text) {
  sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// Seconds since 1970 of "yyyy-MM-ddTHH:mm:ssZ".
double parseTime(std::string_view text) {
  std::tm tm{};
  std::string copy(text);
  if (!strptime(copy.c_str(), "%Y-%m-%dT%H:%M:%SZ", &tm)) return 0;
  return static_cast<double>(timegm(&tm));
}

Result mapMessages(const std::string& dir, std::int64_t n) {
  Db db = open(dir);
  sqlite3* d = db.get();
  std::vector<std::string> pages, batches;
  for (std::int64_t from = 0; from < n; from += bench::kPageSize) {
    pages.push_back(bench::chatMessagesPayload(from, std::min(n, from + bench::kPageSize),
                                               simdjson::SIMDJSON_PADDING));
  }
  auto all = bench::chatUpdates(n);
  const auto batch = static_cast<std::size_t>(bench::kPageSize);
  for (std::size_t from = 0; from < all.size(); from += batch) {
    batches.push_back(bench::chatUpdatesPayload(all, from, std::min(all.size(), from + batch),
                                                simdjson::SIMDJSON_PADDING));
  }
  std::size_t payloadBytes = 0;
  for (const auto& text : pages) payloadBytes += text.size();
  for (const auto& text : batches) payloadBytes += text.size();
  {
    Stmt local = prepare(d,
                         "INSERT INTO Message (guid, chatID, deliveryState, sortingID) "
                         "VALUES (?, ?, 0, 0)");
    exec(d, "BEGIN");
    for (std::int64_t i = 0; i < n; ++i) {
      if (!bench::isSentFromDevice(i)) continue;
      bindText(local.get(), 1, bench::deviceGuid(i));
      sqlite3_bind_int64(local.get(), 2, bench::kConversation);
      step(local.get());
    }
    exec(d, "COMMIT");
  }
  auto start = Clock::now();
  Stmt byGuid = prepare(d, "SELECT pk FROM Message WHERE guid = ?");
  Stmt byId = prepare(d, "SELECT pk FROM Message WHERE entityID = ?");
  Stmt insert = prepare(d,
                        "INSERT INTO Message (entityID, chatID, authorID, time, text, "
                        "attachmentType, attachmentURL, attachmentPreviewURL, deliveryState, "
                        "sortingID) VALUES (?,?,?,?,?,?,?,?,?,?)");
  Stmt update = prepare(d,
                        "UPDATE Message SET entityID=?, chatID=?, authorID=?, time=?, text=?, "
                        "attachmentType=?, attachmentURL=?, attachmentPreviewURL=?, "
                        "deliveryState=MAX(deliveryState, ?), sortingID=? WHERE pk=?");
  auto findPk = [&](sqlite3_stmt* query) -> std::int64_t {
    std::int64_t pk = sqlite3_step(query) == SQLITE_ROW ? sqlite3_column_int64(query, 0) : 0;
    sqlite3_reset(query);
    return pk;
  };
  simdjson::dom::parser parser;
  for (std::string& messages : pages) {
    exec(d, "BEGIN");
    simdjson::dom::array list = parser.parse(messages)["messages"].get_array();
    for (simdjson::dom::object o : list) {
      std::int64_t id = o["id"].get_int64();
      std::int64_t pk = 0;
      std::string_view guid;
      if (o["guid"].get_string().get(guid) == simdjson::SUCCESS) {
        bindText(byGuid.get(), 1, guid);
        pk = findPk(byGuid.get());
      }
      if (!pk) {
        sqlite3_bind_int64(byId.get(), 1, id);
        pk = findPk(byId.get());
      }
      sqlite3_stmt* s = pk ? update.get() : insert.get();
      sqlite3_bind_int64(s, 1, id);
      sqlite3_bind_int64(s, 2, o["conversation_id"].get_int64());
      sqlite3_bind_int64(s, 3, o["from_user_id"].get_int64());
      sqlite3_bind_double(s, 4, parseTime(o["created_at"].get_string().value()));
      bindText(s, 5, o["body"].get_string().value());
      int type = 0;
      std::string_view url, preview, photo, video;
      if (o["photo"].get_string().get(photo) == simdjson::SUCCESS && !photo.empty()) {
        type = 1;
        url = photo;
      }
      if (o["video_url"].get_string().get(video) == simdjson::SUCCESS) {
        type = 2;
        url = video;
        if (o["video_preview"]["video_preview_2x"].get_string().get(preview) != simdjson::SUCCESS)
          preview = {};
      }
      sqlite3_bind_int(s, 6, type);
      std::string thumb = type == 1 ? "thumb_" + std::string(url) : std::string(preview);
      if (type)
        bindText(s, 7, url);
      else
        sqlite3_bind_null(s, 7);
      if (type)
        bindText(s, 8, thumb);
      else
        sqlite3_bind_null(s, 8);
      sqlite3_bind_int64(s, 9, o["deliveryState"].get_int64());
      sqlite3_bind_int64(s, 10, id * 100);
      if (pk) sqlite3_bind_int64(s, 11, pk);
      step(s);
    }
    exec(d, "COMMIT");
    messages = std::string();
  }
  {
    Stmt advance = prepare(d,
                           "UPDATE Message SET deliveryState=? WHERE entityID=? AND "
                           "(? = -1 OR deliveryState <= ?)");
    for (std::string& updates : batches) {
      exec(d, "BEGIN");
      simdjson::dom::array list = parser.parse(updates)["messages"].get_array();
      for (simdjson::dom::object o : list) {
        std::int64_t state = o["deliveryState"].get_int64();
        sqlite3_bind_int64(advance.get(), 1, state);
        sqlite3_bind_int64(advance.get(), 2, o["id"].get_int64());
        sqlite3_bind_int64(advance.get(), 3, state);
        sqlite3_bind_int64(advance.get(), 4, state);
        step(advance.get());
      }
      exec(d, "COMMIT");
      updates = std::string();
    }
  }
  double seconds = secondsSince(start);
  Stmt sum = prepare(d, "SELECT total(deliveryState) FROM Message");
  sqlite3_step(sum.get());
  auto states = static_cast<std::int64_t>(sqlite3_column_double(sum.get(), 0));
  return {n, seconds, std::to_string(states), payloadBytes};
}

Result page(const std::string& dir, std::int64_t n) {
  Db db = open(dir);
  sqlite3* d = db.get();
  {
    Stmt insert = prepare(d,
                          "INSERT INTO Message (entityID, chatID, authorID, time, text, "
                          "attachmentType, deliveryState, sortingID) VALUES (?,?,?,?,?,0,3,?)");
    exec(d, "BEGIN");
    for (std::int64_t i = 0; i < n; ++i) {
      sqlite3_bind_int64(insert.get(), 1, bench::messageId(i));
      sqlite3_bind_int64(insert.get(), 2, bench::kConversation);
      sqlite3_bind_int64(insert.get(), 3, bench::authorId(i));
      sqlite3_bind_double(insert.get(), 4, bench::messageTime(i));
      bindText(insert.get(), 5, bench::messageText(i));
      sqlite3_bind_int64(insert.get(), 6, bench::messageId(i) * 100);
      step(insert.get());
    }
    exec(d, "COMMIT");
  }
  constexpr int kPages = 200;
  constexpr int kPageSize = 50;
  std::vector<double> times;
  std::int64_t sum = 0;
  for (int round = 0; round < kPages; ++round) {
    auto start = Clock::now();
    Stmt query = prepare(d,
                         "SELECT entityID, text, time, authorID, deliveryState FROM Message "
                         "WHERE chatID = ? ORDER BY sortingID DESC LIMIT ?");
    sqlite3_bind_int64(query.get(), 1, bench::kConversation);
    sqlite3_bind_int(query.get(), 2, kPageSize);
    while (sqlite3_step(query.get()) == SQLITE_ROW) {
      if (round == 0) sum += sqlite3_column_int64(query.get(), 0);
      (void)sqlite3_column_text(query.get(), 1);
    }
    times.push_back(secondsSince(start));
  }
  std::sort(times.begin(), times.end());
  double p50 = times[times.size() / 2];
  std::cerr << "chat.page (raw SQLite): p50 " << p50 * 1000 << " ms\n";
  return {static_cast<std::int64_t>(kPages) * kPageSize, p50 * kPages, std::to_string(sum), 0,
          p50 * 1000};
}

}  // namespace

int main(int argc, char** argv) {
  return bench::runProgram(argc, argv, "ChatRawSQLiteBenchmark", "raw SQLite", 200000,
                           {{"chat.map_messages", mapMessages}, {"chat.page", page}});
}
