#include "store/last_words.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <system_error>

#include "platform/data_file.h"

namespace store {
namespace {

const char* firstWords = "";
int status = 1;
void (*answerWith)(const char* reason) = nullptr;

// Allocates nothing: there may be no memory for a string.
void Tell(const char* reason, const char* detail = "") {
  std::array<char, 1024> line = {};
  const int length = std::snprintf(line.data(), line.size() - 1, "%s%s%s", firstWords, reason, detail);
  std::size_t end = length < 0 ? 0 : std::min(line.size() - 2, static_cast<std::size_t>(length));
  std::replace(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(end), '\n', ' ');
  line[end] = '\0';
  if (answerWith != nullptr) {
    answerWith(line.data() + std::min(end, std::strlen(firstWords)));
  }
  line[end++] = '\n';
  platform::WriteToStandardError({line.data(), end});
}

[[noreturn]] void End() {
  try {
    if (std::current_exception()) {
      throw;
    }
    Tell("the program cannot go on");
  } catch (const std::bad_alloc&) {
    Tell("no memory is left");
  } catch (const std::system_error& error) {  // such as a thread that cannot be started
    Tell("the system refuses what is needed: ", error.what());
  } catch (const std::exception& error) {
    Tell(error.what());
  } catch (...) {
    Tell("the program cannot go on");
  }
  std::_Exit(status);
}

}  // namespace

void SetLastWords(const char* prefix, int exitStatus) { SetLastWords(prefix, exitStatus, nullptr); }

void SetLastWords(const char* prefix, int exitStatus, void (*answer)(const char* reason)) {
  answerWith = answer;
  firstWords = prefix;
  status = exitStatus;
  std::set_terminate(End);
}

}  // namespace store
