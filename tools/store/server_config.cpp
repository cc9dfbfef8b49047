#include "store/server_config.h"

#include <cstdint>

#include "backint/base/text.h"
#include "common/cm_common.h"
#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/names.h"

namespace store {
namespace {

constexpr std::size_t kValueWidth = 1024;
constexpr int kMostCompression = 19;
constexpr const char* kDefaultSection = "DEFAULT";

bool ReadKey(const std::string& file, const std::string& section, const char* key, std::string& value,
             std::string& message) {
  std::string valueBuffer(kValueWidth, '\0');
  std::string messageBuffer(kValueWidth, '\0');
  const int found = i_GetPrivateProfileString(
      file.c_str(), section.c_str(), key, valueBuffer.data(), static_cast<std::int32_t>(valueBuffer.size()),
      messageBuffer.data(), static_cast<std::int32_t>(messageBuffer.size()));
  value = valueBuffer.c_str();
  message = messageBuffer.c_str();
  return found == 1;
}

bool HasSection(const std::string& file, const std::string& section) {
  std::string value;
  std::string message;
  // A key that no file has: what the reader says then tells whether it saw the section.
  return ReadKey(file, section, " ", value, message) ||
         message.find("SECTION NOT FOUND") == std::string::npos;
}

Status FindFile(std::string& file) {
  std::string named;
  if (platform::EnvironmentVariable("KORVO_CONFIG", named)) {
    if (platform::LookUp(named).kind != platform::PathKind::kFile) {
      return Status::Failed("KORVO_CONFIG names " + named + ", which is no file");
    }
    file = named;
    return {};
  }
  const std::string beside = platform::ProgramDirectory() + "/korvo.ini";
  file = platform::Exists(beside) ? beside : "";
  return {};
}

Status ReadSection(const std::string& file, ServerConfig& config) {
  std::string message;
  const std::string place = "section [" + config.section + "] of " + file;
  if (!ReadKey(file, config.section, "repository", config.repository, message)) {
    return Status::Failed(place + " does not set repository: " + message);
  }
  if (!platform::IsAbsolute(config.repository)) {
    return Status::Failed("repository in " + place + " is no full path: " + config.repository);
  }
  std::string compression;
  if (ReadKey(file, config.section, "compression", compression, message)) {
    if (!IsNumber(compression) || ToNumber(compression) > kMostCompression) {
      return Status::Failed("compression in " + place + " is no number from 0 to 19: " + compression);
    }
    config.compression = ToNumber(compression);
  }
  return {};
}

}  // namespace

Status ReadServerConfig(const std::string& login, ServerConfig& config) {
  config.section = login.substr(0, login.find(':'));
  if (config.section.empty() || config.section.size() > kSectionNameWidth ||
      config.section.find_first_of("[]") != std::string::npos) {
    return Status::Failed("the server's name is empty, longer than " + std::to_string(kSectionNameWidth) +
                          " characters or holds a bracket: " + config.section);
  }
  std::string file;
  if (Status found = FindFile(file); !found) {
    return found;
  }
  if (file.empty()) {
    const std::string state = platform::UserStateDirectory();
    config.repository = state + "/korvo";
    return state.empty()
               ? Status::Failed("no repository is known: let KORVO_CONFIG name a configuration file")
               : Status();
  }
  if (!HasSection(file, config.section)) {
    if (!HasSection(file, kDefaultSection)) {
      return Status::Failed(file + " has neither a section [" + config.section + "] nor [DEFAULT]");
    }
    config.section = kDefaultSection;
  }
  return ReadSection(file, config);
}

}  // namespace store
