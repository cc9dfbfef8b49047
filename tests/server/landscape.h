// A database whose caller runs the program against a server of its own.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "server/server.h"

// How many are many: each costs much more under Wine.
extern const int kManySmallFiles;

// File names that this system can hold and the other one cannot, or not beside the rest.
Lines NamesOfThisSystem();

class Landscape : public ::testing::Test {
 protected:
  Landscape();

  struct Run {
    int exitStatus;
    Lines result;
  };
  // `meanwhile` as in `support::RunProgram`.
  [[nodiscard]] Run Start(const std::string& function, const Lines& input,
                          const std::function<void(int)>& meanwhile = {}) const;

  // Saves the files and gives the backup id that each of them got.
  [[nodiscard]] std::string Save(const Lines& files) const;

  // The lines, in whatever order: the program's packing moves files.
  static void ExpectLines(Lines lines, Lines expected);
  static Lines With(const std::string& prefix, Lines lines, const std::string& suffix = "");

  Server server_;
};
