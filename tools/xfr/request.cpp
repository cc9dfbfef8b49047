#include "xfr/request.h"

#include "backint/base/input_lines.h"
#include "backint/base/path.h"
#include "backint/base/text.h"
#include "platform/platform.h"
#include "store/command_line.h"
#include "store/names.h"

using store::CommandLine;
using store::Status;

namespace {

constexpr std::string_view kListPrefix = "@file:";

// In a list that was written for the mover, and in the command of a restore, all backslashes were turned into
// slashes. The items go by the names that they had before.
std::string NameOf(const std::string& listed, bool turned) {
  return turned ? platform::ToSystemForm(listed) : listed;
}

Status ReadList(const std::string& path, bool turned, NameList& items) {
  const auto list = platform::TextFile::Open(path, platform::TextFile::Mode::kRead);
  if (list == nullptr) {
    return Status::Failed("the list of items cannot be opened: " + path);
  }
  InputLines lines(*list);
  for (std::string name; lines.NextName(name);) {
    items.Add(NameOf(name, turned));
  }
  return lines.Failed() ? Status::Failed("the list of items cannot be read to its end: " + path) : Status();
}

Status ReadItems(const CommandLine& line, Request& request) {
  for (const std::string& item : line.Operands()) {
    request.items.Add(NameOf(item, request.restore));
  }
  if (!line.Has('f')) {
    return {};
  }
  if (request.items.Size() != 0) {
    return Status::Failed("items stand on the command line beside the list of option -f");
  }
  const std::string path = line.Value('f');
  const bool written = path.starts_with(kListPrefix);
  return ReadList(written ? path.substr(kListPrefix.size()) : path, written || request.restore,
                  request.items);
}

// The text after a parent of the item and a colon; empty if the text does not begin like that. backint cuts
// the parent from the name in its input. Which separators that name had is not known here, so every directory
// above the item is tried, and first the item itself.
std::string BehindParent(const std::string& text, std::string_view item) {
  std::string parent = ToUnix(std::string(item));
  while (text.compare(0, parent.size() + 1, parent + ":") != 0) {
    const std::size_t slash = parent.rfind('/');
    if (slash == std::string::npos) {
      return "";
    }
    parent.erase(slash);
  }
  return text.substr(parent.size() + 1);
}

// With `-o plain` the text is the destination. Without it, there is one item, a directory. The text is then
// the path of its parent, a colon, and the destination.
Status ReadDestination(const CommandLine& line, Request& request) {
  request.destination = line.Value('R');
  if (request.destination.empty() || line.HasValue('o', "plain")) {
    return {};
  }
  if (request.items.Size() == 1) {
    const std::string destination = BehindParent(request.destination, request.items[0]);
    if (!destination.empty()) {
      request.destination = destination;
      return {};
    }
  }
  return Status::Failed("option -R without -o plain takes <path of the item>:<destination>, and one item: " +
                        request.destination);
}

Status CheckFormats(const CommandLine& line) {
  return line.Has('o') && !line.HasValue('o', "plain") && !line.HasValue('o', "over")
             ? Status::Failed("option -o takes plain or over: " + line.Value('o'))
             : Status();
}

}  // namespace

Status ReadRequest(int argc, const char* const* argv, Request& request) {
  CommandLine line;
  if (Status read = line.Read(argc, argv, "br", "lSsdjtnRofv", "o"); !read) {
    return read;
  }
  if (line.Has('b') == line.Has('r')) {
    return Status::Failed("one of -b (back up) and -r (restore) is expected");
  }
  request.restore = line.Has('r');
  request.server = line.Value('S');
  request.saveset = line.Value('s');
  request.wholeDirectory = !request.restore && line.HasValue('o', "plain");
  request.replace = line.HasValue('o', "over");
  if (request.server.empty() || request.saveset.empty()) {
    return Status::Failed("options -S with the server and -s with the saveset are expected");
  }
  if (line.Has('R') && !request.restore) {
    return Status::Failed("option -R goes with a restore only");
  }
  if (Status checked = CheckFormats(line); !checked) {
    return checked;
  }
  if (Status read = ReadItems(line, request); !read) {
    return read;
  }
  return ReadDestination(line, request);
}
