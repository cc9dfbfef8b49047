// What all commands of korvo have in common.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "store/store.h"

namespace korvo {

// Lines on standard output, and on standard error.
void Print(const std::string& line);
void Complain(const std::string& line);
// Tells why the command could not do its work, and gives its exit status.
int Fail(const store::Status& status);

// The server's settings, and its repository.
store::Status OpenServer(const std::string& server, store::Store::Access access,
                         std::unique_ptr<store::Store>& store);

// `2026-11-25 08:39:07`, in local time.
[[nodiscard]] std::string TimeText(std::int64_t seconds);
// `24 hours`: in the largest unit that leaves nothing.
[[nodiscard]] std::string DurationText(std::int64_t seconds);
// `good`, `failed`, `running` ...
[[nodiscard]] std::string StateText(const store::Saveset& saveset);

}  // namespace korvo
