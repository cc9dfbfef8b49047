// What all commands of korvo have in common.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/store.h"

namespace korvo {

// Lines on standard output, and on standard error.
void Print(const std::string& line);
void Complain(const std::string& line);
// Bytes on standard output, as they are.
void PrintBytes(std::string_view bytes);
// False if something that was printed did not arrive, as on a full disk.
[[nodiscard]] bool FinishOutput();
// Tells why the command could not do its work, and gives its exit status.
int Fail(const store::Status& status);

// The server's settings, and its repository.
store::Status OpenServer(const std::string& server, store::Store::Access access,
                         std::unique_ptr<store::Store>& store);

// The savesets of a database and a pool (empty: of all), newest first.
store::Status ListSavesets(store::Store& store, const std::string& database, const std::string& pool,
                           std::vector<store::Saveset>& savesets);

}  // namespace korvo
