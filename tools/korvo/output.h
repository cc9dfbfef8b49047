// What all commands of korvo have in common.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/store.h"

namespace korvo {

// Prints a line to standard output. On a terminal, control characters become `?`.
void Print(const std::string& line);
// The same to standard error, with `korvo: ` in front.
void Complain(const std::string& line);
// Writes the bytes to standard output, unchanged.
void PrintBytes(std::string_view bytes);
// Flushes standard output. False if something that was printed is lost, for example on a full disk.
[[nodiscard]] bool FinishOutput();
// Complains why the command could not do its work, and returns its exit status, kCouldNotRun.
int Fail(const store::Status& status);

// Opens the repository of the server, a section of korvo.ini. Notes of the opening go to standard error.
store::Status OpenServer(const std::string& server, store::Store::Access access,
                         std::unique_ptr<store::Store>& store);

// Adds the savesets of a database and a pool (empty: of all) to the list, newest first.
store::Status ListSavesets(store::Store& store, const std::string& database, const std::string& pool,
                           std::vector<store::Saveset>& savesets);

}  // namespace korvo
