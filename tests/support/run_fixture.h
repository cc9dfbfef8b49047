// A run's records in a test's own process, with trace files in a directory of their own.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "backint/base/run_records.h"
#include "support/run_program.h"

class RunFixture : public testing::Test {
 protected:
  RunFixture() {
    SetDefaults();
    Params().szTraceFile = directory_.File("trace.log");
    Params().szXfrTraceFile = directory_.File("mover.log");
  }
  ~RunFixture() override { std::filesystem::current_path(outside_); }

  // The lines that a trace file got since the last look, as "source: message".
  static std::vector<std::string> TakeTrace(const std::string& path) {
    const std::string text = support::ReadWholeFile(path);
    support::WriteWholeFile(path, "");
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = 0; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
      lines.push_back(Message(text.substr(start, end - start)));
    }
    EXPECT_EQ(text.substr(start), "");
    return lines;
  }

  const std::filesystem::path outside_ = std::filesystem::current_path();
  support::TemporaryDirectory directory_;
  RunRecords records_;

 private:
  // "KVB:(process): time:   source:(line):: message".
  static std::string Message(const std::string& line) {
    const std::size_t source = line.find_first_not_of(' ', line.find("): ") + 10);
    const std::size_t sourceEnd = line.find(":(", source);
    const std::size_t message = line.find(":: ", source);
    EXPECT_LT(sourceEnd, message) << line;
    return sourceEnd < message ? line.substr(source, sourceEnd - source) + ": " + line.substr(message + 3)
                               : line;
  }
};
