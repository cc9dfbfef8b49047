#include "server/landscape.h"

#include <algorithm>
#include <filesystem>

Landscape::Landscape() {
  for (const char* name : {"home/saptrace", "oracle", "sapbackup", "saparch"}) {
    std::filesystem::create_directories(server_.Path(name));
  }
  server_.Write("init.utl",
                "KORVO_SERVER=bk\nKORVO_JOB=NIGHT\nKORVO_POOL=POOL\nKORVO_RAW_UTIL=none\nXFR=xfr\n"
                "XFR_COM_INTERFACE=xfr_com_interface\nBI_TRACE_LEVEL=1\n");
  server_.environment.insert({{"BI_CALLER", "BRBACKUP"},
                              {"BI_BACKUP", "FULL"},
                              {"BI_REQUEST", "NEW"},
                              {"ORACLE_SID", "ABC"},
                              {"ORACLE_HOME", server_.Path("oracle")},
                              {"SAPDATA_HOME", server_.Path("home")},
                              {"SAPBACKUP", server_.Path("sapbackup")},
                              {"SAPARCH", server_.Path("saparch")}});
  server_.environment["PATH"] = support::ProgramDirectory();
}

Landscape::Run Landscape::Start(const std::string& function, const Lines& input,
                                const std::function<void(int)>& meanwhile) const {
  std::string text;
  for (const std::string& line : input) {
    text += line + "\n";
  }
  std::filesystem::remove(server_.Path("sapbackup/result"));
  server_.Write("sapbackup/input", text);
  const auto run = support::RunProgram(
      support::BuiltProgram("backint"),
      {"-u", "sap", "-f", function, "-p", "init.utl", "-i", "input", "-o", "result", "-c"},
      server_.environment, server_.Path("."), "", meanwhile);
  return {run.exitStatus, SplitLines(server_.Read("sapbackup/result"))};
}

std::string Landscape::Save(const Lines& files) const {
  const Run run = Start("backup", files);
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_EQ(run.result.size(), files.size());
  std::string id = run.result.empty() ? "" : run.result[0].substr(7, run.result[0].find(' ', 7) - 7);
  ExpectLines(run.result, With("#SAVED " + id + " ", files));
  return id;
}

void Landscape::ExpectLines(Lines lines, Lines expected) {
  std::sort(lines.begin(), lines.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(lines, expected);
}

Lines Landscape::With(const std::string& prefix, Lines lines, const std::string& suffix) {
  for (std::string& line : lines) {
    line.insert(0, prefix);
    line += suffix;
  }
  return lines;
}
