// The chat benchmarks' data, the same for every implementation: message i of one conversation
// and the server payloads (messages with attachments, then delivery updates out of order).
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace bench {

constexpr std::int64_t kConversation = 77;

inline std::int64_t messageId(std::int64_t i) {
  return 1000000 + i;
}
inline std::int64_t authorId(std::int64_t i) {
  return i % 2 ? 2001 : 1001;
}
inline double messageTime(std::int64_t i) {
  return 1767225600.0 + static_cast<double>(i) * 37;
}
inline std::string messageText(std::int64_t i) {
  static const char* const kTexts[] = {"Morning! How did the legs feel?", "Sore but fine",
                                       "Send me your breakfast",          "Done with the session",
                                       "Can we move Friday's workout?",   "Sure, Saturday 10:00"};
  return kTexts[i % 6];
}
// Every 50th message was sent from this device and is echoed with its guid.
inline bool isSentFromDevice(std::int64_t i) {
  return i % 50 == 7;
}
inline std::string deviceGuid(std::int64_t i) {
  return "device-" + std::to_string(i);
}
// 0 none, 1 photo (one in eight), 2 video (one in twenty).
inline int attachmentKind(std::int64_t i) {
  return i % 8 == 3 ? 1 : (i % 20 == 11 ? 2 : 0);
}
inline std::string photoPath(std::int64_t i) {
  return "chat/77/" + std::to_string(i) + ".jpg";
}
inline std::string videoUrl(std::int64_t i) {
  return "https://media.example.com/chat/" + std::to_string(i) + ".mp4";
}
inline std::string videoPreview(std::int64_t i, int scale) {
  return "https://media.example.com/chat/" + std::to_string(i) + "@" + std::to_string(scale) +
         "x.jpg";
}

inline std::string isoTime(double seconds) {
  auto t = static_cast<std::time_t>(seconds);
  std::tm tm{};
  gmtime_r(&t, &tm);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &tm);
  return text;
}

// The server sends a conversation in pages of this many messages (FetchMessagesRequest's
// limit), and delivery updates in batches of the same size.
constexpr std::int64_t kPageSize = 5000;

// {"messages": [...]} with messages [from, to) in delivery state 1; `padding` spare bytes
// reserved.
inline std::string chatMessagesPayload(std::int64_t from, std::int64_t to, std::size_t padding) {
  std::string out;
  out.reserve(static_cast<std::size_t>(to - from) * 230 + padding);
  out += "{\"messages\":[";
  for (std::int64_t i = from; i < to; ++i) {
    if (i != from) out += ',';
    out += "{\"id\":" + std::to_string(messageId(i)) +
           ",\"conversation_id\":" + std::to_string(kConversation) +
           ",\"from_user_id\":" + std::to_string(authorId(i)) + ",\"created_at\":\"" +
           isoTime(messageTime(i)) + "\",\"body\":\"" + messageText(i) + "\",\"deliveryState\":1";
    if (isSentFromDevice(i)) out += ",\"guid\":\"" + deviceGuid(i) + "\"";
    switch (attachmentKind(i)) {
      case 1:
        out += ",\"photo\":\"" + photoPath(i) + "\"";
        break;
      case 2:
        out += ",\"video_url\":\"" + videoUrl(i) + "\",\"video_preview\":{\"video_preview_2x\":\"" +
               videoPreview(i, 2) + "\",\"video_preview_3x\":\"" + videoPreview(i, 3) + "\"}";
        break;
      default:
        break;
    }
    out += '}';
  }
  out += "]}";
  return out;
}

// Delivery updates: "delivered" (2) and "read" (3) for every message, shuffled, so a read
// often arrives before its delivered; the final state of every message is 3.
inline std::vector<std::pair<std::int64_t, int>> chatUpdates(std::int64_t n) {
  std::vector<std::pair<std::int64_t, int>> updates;
  updates.reserve(static_cast<std::size_t>(n) * 2);
  for (std::int64_t i = 0; i < n; ++i) {
    updates.emplace_back(messageId(i), 2);
    updates.emplace_back(messageId(i), 3);
  }
  std::mt19937_64 generator(19);
  std::shuffle(updates.begin(), updates.end(), generator);
  return updates;
}

// {"messages": [{"id": ..., "deliveryState": ...}, ...]}: updates [from, to) of `updates`.
inline std::string chatUpdatesPayload(const std::vector<std::pair<std::int64_t, int>>& updates,
                                      std::size_t from, std::size_t to, std::size_t padding) {
  std::string out;
  out.reserve((to - from) * 40 + padding);
  out += "{\"messages\":[";
  for (std::size_t i = from; i < to; ++i) {
    const auto& [id, state] = updates[i];
    if (i != from) out += ',';
    out += "{\"id\":" + std::to_string(id) + ",\"deliveryState\":" + std::to_string(state) + "}";
  }
  out += "]}";
  return out;
}

}  // namespace bench
