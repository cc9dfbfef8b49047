#include "korvo/options.h"

#include <charconv>

#include "korvo/text.h"

namespace korvo {

void AddServer(CLI::App& command, std::string& server) {
  command.add_option("SERVER", server, "The server, a section of korvo.ini")->required();
}

void AddQuiet(CLI::App& command, bool& quiet) {
  command.add_flag("--quiet", quiet, "Shows no progress on the terminal");
}

void AddJson(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "Tells it as a JSON document, for programs");
}

CLI::Option* AddDuration(CLI::App& command, const std::string& name, std::optional<std::int64_t>& seconds,
                         const std::string& help) {
  return command
      .add_option_function<std::string>(
          name,
          [name, &seconds](const std::string& text) {
            std::int64_t read = 0;
            if (!ReadDuration(text, read)) {
              throw CLI::ValidationError(
                  name, text + " is no duration: a number and its unit are expected, as 12h, 30d or 2w");
            }
            seconds = read;
          },
          help)
      ->type_name("DURATION");
}

CLI::Option* AddCount(CLI::App& command, const std::string& name, std::optional<std::uint64_t>& count,
                      const std::string& help) {
  return command
      .add_option_function<std::string>(
          name,
          [name, &count](const std::string& text) {
            std::uint64_t read = 0;
            const char* end = text.data() + text.size();
            const auto [behind, error] = std::from_chars(text.data(), end, read);
            if (error != std::errc() || behind != end || read == 0) {
              throw CLI::ValidationError(name, text + " is no number from 1");
            }
            count = read;
          },
          help)
      ->type_name("N");
}

}  // namespace korvo
