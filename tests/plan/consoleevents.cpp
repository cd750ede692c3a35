#include "tests/plan/consoleevents.h"

namespace {

constexpr char kSay[] = "say ";

}  // namespace

Lines consoleEvents(const std::string& console) {
  const std::string hide = "\033[?25l\r";
  const std::string show = "\r\033[?25h";
  Lines events;
  for (std::size_t at = 0; at < console.size();) {
    const bool isStatus = console.compare(at, hide.size(), hide) == 0;
    const std::size_t begin = isStatus ? at + hide.size() : at;
    const std::size_t end = console.find(isStatus ? show : "\n", begin);
    std::string text = console.substr(begin, end - begin);
    if (end == std::string::npos) {
      events.push_back("raw " + text);
      break;
    }
    if (isStatus) text.erase(text.find_last_not_of(' ') + 1);
    const std::string kind = isStatus ? "status" : "say";
    events.push_back(text.empty() ? kind : kind + " " + text);
    at = end + (isStatus ? show.size() : 1);
  }
  return events;
}

Lines messagesOf(const Lines& events) {
  Lines messages;
  for (const std::string& event : events) {
    if (event.rfind(kSay, 0) == 0) messages.push_back(event.substr(sizeof kSay - 1));
  }
  return messages;
}

std::string joined(const Lines& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}
