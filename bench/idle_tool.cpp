// Stands in for both tools and does no work: opens and closes what it is asked to, and confirms every item of
// the mover's list file or command line. So the time that a run takes with it is backint's own.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/platform.h"

namespace {

void AnswerControl(std::string_view verb) {
  std::fputs("reply=OK\n", stdout);
  if (verb == "open") {
    std::fputs("SESSIONID=17\n", stdout);
  } else if (verb.starts_with("openjob")) {
    std::fputs("JOBNAME=job\nTAPE_SERVER=tape\nSAVESETNAME=SET1@tail\n", stdout);
  }
}

std::string NamesInFile(std::string_view path) {
  constexpr std::string_view kPrefix = "@file:";
  std::string name(path.substr(path.starts_with(kPrefix) ? kPrefix.size() : 0));
  std::replace(name.begin(), name.end(), '\\', '/');
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Writes the whole answer in one piece, because this program is not what is measured.
void Confirm(std::string_view names) {
  std::string answer;
  answer.reserve(names.size() * 2);
  std::size_t begin = 0;
  for (std::size_t end = names.find('\n'); end != std::string::npos; end = names.find('\n', begin)) {
    answer += "-3108 Item processed successfully [";
    answer += platform::ToSystemForm(names.substr(begin, end - begin));
    answer += "]\n";
    begin = end + 1;
  }
  answer += "3007 Operation successful\n";
  std::fwrite(answer.data(), 1, answer.size(), stderr);
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  const auto at = [&](int i) { return std::string_view(i < argc ? argv[i] : ""); };
  int i = 1;
  for (; i < argc && at(i) != "-v"; ++i) {
    if (at(i) == "-C") {
      AnswerControl(at(2));
      return EXIT_SUCCESS;
    }
  }
  std::string names;
  if (at(i + 2) == "-f") {
    names = NamesInFile(at(i + 3));
  } else {
    for (i += 2; i < argc; ++i) {
      names += std::string(at(i)) + "\n";
    }
  }
  Confirm(names);
  return EXIT_SUCCESS;
}
