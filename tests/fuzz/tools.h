// The control tool and the data mover, as far as the program sees them: what each call is told, and what it
// prints. They take the place of the platform layer's own starting functions; no process is started.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

enum class Verb : char {
  kOpen = 'o',
  kOpenJob = 'j',
  kCloseJob = 'c',
  kClose = 'e',
  kQuery = 'q',
  kMove = 'm'
};

struct ToolCall {
  Verb verb = Verb::kOpen;
  std::vector<std::string> words;  // of its command line, without the program
  std::vector<std::string> items;  // of the mover: what it is asked to save or to restore
  std::string destination;         // of a restore
  std::string printed;
};

class Tools {
 public:
  // Each piece is an answer, whose first letter is the verb that it is for; the calls of a verb get them in
  // their order, and the last one again and again. Without one they get a good one.
  static void Answer(const std::vector<std::string>& pieces);
  [[nodiscard]] static const std::vector<ToolCall>& Calls();
  // The verbs of all calls, a letter each.
  [[nodiscard]] static std::string Verbs();
  // All calls are over: everything that they printed was read, since a tool that cannot get rid of what it
  // prints never ends.
  static void RequireAllWasRead();
};

// A stream of these bytes, to read from. The bytes that nobody has read when it is closed.
[[nodiscard]] std::intptr_t OpenStreamOf(std::string_view bytes);
[[nodiscard]] std::size_t UnreadBytes();

}  // namespace fuzz
