#include "korvo/output.h"

#include <array>
#include <ctime>
#include <utility>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/names.h"
#include "store/server_config.h"

namespace korvo {

void Print(const std::string& line) {
  static const std::unique_ptr<platform::TextFile> out = platform::TextFile::StandardOutput();
  out->Write(store::OneLine(line) + "\n");
}

void Complain(const std::string& line) {
  platform::WriteToStandardError("korvo: " + store::OneLine(line) + "\n");
}

int Fail(const store::Status& status) {
  constexpr int kCouldNotRun = 2;
  Complain(status.Message());
  return kCouldNotRun;
}

store::Status OpenServer(const std::string& server, store::Store::Access access,
                         std::unique_ptr<store::Store>& store) {
  store::ServerConfig config;
  if (store::Status read = store::ReadServerConfig(server, config); !read) {
    return read;
  }
  if (store::Status opened = store::Store::Open(config, access, store); !opened) {
    return opened;
  }
  for (const std::string& note : store->Notes()) {
    Complain(note);
  }
  return {};
}

std::string TimeText(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  const std::tm* parts = std::localtime(&time);
  std::array<char, 32> text = {};
  return parts != nullptr && std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", parts) > 0
             ? text.data()
             : std::to_string(seconds);
}

std::string DurationText(std::int64_t seconds) {
  constexpr std::array<std::pair<std::int64_t, const char*>, 3> kUnits = {
      {{86400, "day"}, {3600, "hour"}, {60, "minute"}}};
  std::int64_t count = seconds;
  std::string unit = "second";
  for (const auto& [length, name] : kUnits) {
    if (unit == "second" && seconds > 0 && seconds % length == 0) {
      count = seconds / length;
      unit = name;
    }
  }
  return std::to_string(count) + " " + unit + (count == 1 ? "" : "s");
}

std::string StateText(const store::Saveset& saveset) {
  if (saveset.marked) {
    return "marked";
  }
  switch (saveset.mover) {
    case store::Mover::kNone:
      return "unused";
    case store::Mover::kRunning:
      return "running";
    case store::Mover::kEndedClean:
      return saveset.failed ? "withdrawn" : "good";
    case store::Mover::kEndedFailed:
      break;
  }
  return "failed";
}

}  // namespace korvo
