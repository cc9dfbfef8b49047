// Options that several commands have.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

namespace korvo {

// The first operand, a section of korvo.ini.
void AddServer(CLI::App& command, std::string& server);
// For a command that shows how far it has come.
void AddQuiet(CLI::App& command, bool& quiet);
void AddJson(CLI::App& command, bool& json);
// A duration, as `30d`.
CLI::Option* AddDuration(CLI::App& command, const std::string& name, std::optional<std::int64_t>& seconds,
                         const std::string& help);
// A whole number from 1.
CLI::Option* AddCount(CLI::App& command, const std::string& name, std::optional<std::uint64_t>& count,
                      const std::string& help);

}  // namespace korvo
