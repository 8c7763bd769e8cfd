// A process that logs as a program with the library does, steered over standard input, for the tests of
// sbxlog. One command a line; each is answered by a line.
//
//   log <level> <text>       one message, then "ok"
//   many <count> <level>     "message 0" and so on, then "ok"
//   hold <level> <text>      "ok", and the message from a thread of its own; "passed" when that has come
//   through
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "diag/dbg_log_facade.h"
#include "diag/log_lifecycle.h"
#include "platform/narrow_text.h"

namespace {

using namespace sbx;

void Answer(const char* text) {
  static std::mutex lock;
  const std::scoped_lock guard(lock);
  std::cout << text << std::endl;
}

void Log(int level, const std::string& text) {
  g_DBGLog.Printf(level, u"%s", platform::Widen(text, platform::NarrowPage::kUtf8).value_or(u""));
}

void LogMany(int count, int level) {
  for (int i = 0; i < count; ++i) g_DBGLog.Printf(level, u"message %d", i);
}

}  // namespace

int main() {
  StartLog();
  std::vector<std::thread> held;
  Answer("ready");
  std::string command;
  int level = 0;
  while (std::cin >> command) {
    if (command == "many") {
      int count = 0;
      std::cin >> count >> level;
      LogMany(count, level);
      Answer("ok");
      continue;
    }
    std::string text;
    std::cin >> level;
    std::getline(std::cin >> std::ws, text);
    if (command == "hold") {
      held.emplace_back([level, text] {
        Log(level, text);
        Answer("passed");
      });
    } else {
      Log(level, text);
    }
    Answer("ok");
  }
  for (std::thread& thread : held) thread.join();
  StopLog();
  return 0;
}
