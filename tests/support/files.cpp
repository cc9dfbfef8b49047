#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#include "platform/data_file.h"
#include "support/run_program.h"

namespace support {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
  path_ = (fs::temp_directory_path() / ("backint_test_" + std::to_string(std::random_device()()))).string();
  if (!fs::create_directory(path_)) {
    throw std::runtime_error("cannot make " + path_);
  }
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  if (!kept_) {
    fs::remove_all(path_, ignored);
  }
}

std::string TemporaryDirectory::File(const std::string& name) const {
  // As bytes: the library's own conversions know one code page alone.
  std::string path = path_ + "/" + name;
  std::replace(path.begin(), path.end(), '/', static_cast<char>(fs::path::preferred_separator));
  return path;
}

std::string BuiltProgram(const std::string& name) {
  const char separator = static_cast<char>(fs::path::preferred_separator);
  return platform::ProgramDirectory() + separator + name + (separator == '/' ? "" : ".exe");
}

std::string ReadWholeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void WriteWholeFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) {
    throw std::runtime_error("cannot write " + path.string());
  }
}

void WriteForOwner(const std::string& path, const std::string& text) {
  std::string why;
  fs::remove(path);
  const auto file = platform::DataFile::CreateNew(path, why);
  if (file == nullptr || !file->WriteAt(0, text.data(), text.size()) || !file->Close()) {
    throw std::runtime_error("cannot write " + path + ": " + why);
  }
}

}  // namespace support
