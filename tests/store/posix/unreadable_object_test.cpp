// For Linux alone: a file that can be opened, and read at no byte.
#include <gtest/gtest.h>

#include <filesystem>

#include "store/place/directory_place.h"
#include "support/run_program.h"

namespace store {
namespace {

TEST(PosixDirectoryPlace, WhatTheDiskCannotReadIsDamage) {
  support::TemporaryDirectory directory;
  DirectoryPlace place(directory.Path(), "here");
  const std::string name = PackObject(Uid::Random());
  std::filesystem::create_directories(std::filesystem::path(directory.File(name)).parent_path());
  // This process's own memory, which has nothing at its beginning: an I/O error.
  std::filesystem::create_symlink("/proc/self/mem", directory.File(name));
  std::string bytes;
  const Status got = place.Get(name, 0, 1, bytes);
  EXPECT_EQ(got.What(), Status::Kind::kDamaged);
  EXPECT_EQ(got.Message(), "the object " + name + " cannot be read at byte 0: Input/output error");
}

}  // namespace
}  // namespace store
