#include "server/server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <sstream>

#include "platform/data_file.h"

namespace {

std::string ValueOf(const Lines& reply, const std::string& key) {
  for (const std::string& line : reply) {
    if (line.compare(0, key.size() + 1, key + "=") == 0) {
      return line.substr(key.size() + 1);
    }
  }
  ADD_FAILURE() << key << " is missing, the reply ends in " << (reply.empty() ? "nothing" : reply.back());
  return "";
}

}  // namespace

Lines SplitLines(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    lines.push_back(line);
  }
  return lines;
}

std::string Confirmed(const std::string& path) { return "-3108 Item processed successfully [" + path + "]"; }

std::string RandomBytes(std::size_t size) {
  std::mt19937_64 generator(size);
  std::string bytes(size, '\0');
  std::generate(bytes.begin(), bytes.end(), [&generator] { return static_cast<char>(generator()); });
  return bytes;
}

Server::Server() : environment(support::CurrentEnvironment()) {
  Write("korvo.ini", "[bk]\nrepository=" + Path("repository") + "\n");
  environment["KORVO_CONFIG"] = Path("korvo.ini");
}

std::string Server::Write(const std::string& name, const std::string& text) const {
  std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
  support::WriteWholeFile(Path(name), text);
  return Path(name);
}

std::string Server::OnlyContainer() const {
  const std::filesystem::directory_iterator first(Path("repository/savesets"));
  return first == std::filesystem::directory_iterator() ? "" : first->path().string();
}

int Server::LeftOvers() const {
  int count = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(Path("."))) {
    count += entry.path().extension() == ".tmp" ? 1 : 0;
  }
  return count;
}

std::string Server::WriteEndless(const std::string& name) const {
  const std::string path = Write(name, "");
  std::string why;
  std::filesystem::remove(path);
  EXPECT_TRUE(platform::DataFile::CreateNew(path, why)->SetSize(1ULL << 40)) << why;
  return path;
}

Lines Server::Program(const std::string& program, const Lines& arguments) const {
  const support::ProgramRun run = support::RunProgram(program, arguments, environment, Path("."));
  EXPECT_GE(run.exitStatus, 0);
  // What the mover prints is read with every byte.
  EXPECT_EQ(run.err.find('\r'), std::string::npos) << run.err;
  return SplitLines(run.out + run.err);
}

Lines Server::Control(const std::string& arguments) const {
  std::istringstream stream(arguments);
  Lines words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return Program(support::BuiltProgram("xfr_com_interface"), words);
}

Lines Server::Mover(const Lines& arguments) const { return Program(support::BuiltProgram("xfr"), arguments); }

Server::Job Server::Open(char mode, const std::string& saveset) const {
  const std::string flag = std::string("-") + mode;
  Job job;
  job.session = ValueOf(Control(flag + " open -C bk -I sapr3 -v 2"), "SESSIONID");
  job.saveset = ValueOf(
      Control(flag + " openjob:" + job.session + " -C bk -j NIGHT -m POOL -s " + saveset + " -I sapr3 -v 2"),
      "SAVESETNAME");
  return job;
}

void Server::Close(char mode, const Job& job, int state) const {
  const std::string flag = std::string("-") + mode;
  const std::string end = " -i " + std::to_string(state) + " -v 2";
  EXPECT_EQ(Control(flag + " closejob:" + job.session + " -C bk -j NIGHT -s " + job.saveset + end),
            Lines{"reply=OK"});
  EXPECT_EQ(Control(flag + " close:" + job.session + " -C bk" + end), Lines{"reply=OK"});
}

Server::Done Server::Save(const Lines& items, int jobState, const std::string& proposed) const {
  std::string list;
  for (const std::string& item : items) {
    list += item + "\n";
  }
  Write("list", list);
  const Job job = Open('b', proposed);
  Done done = {job.saveset, Mover({"-b", "-l", "c", "-S", "bk", "-s", job.saveset, "-j", "NIGHT", "-v", "2",
                                   "-f", "@file:" + Path("list")})};
  Close('b', job, jobState);
  return done;
}

Lines Server::Restore(const std::string& saveset, const Lines& items, const std::string& destination) const {
  const Job job = Open('r', saveset);
  Lines arguments = {"-r", "-S", "bk", "-s", saveset, "-j", "NIGHT"};
  if (!destination.empty()) {
    arguments.insert(arguments.end(), {"-R", destination, "-o", "plain"});
  }
  arguments.insert(arguments.end(), {"-o", "over", "-v", "2"});
  arguments.insert(arguments.end(), items.begin(), items.end());
  Lines lines = Mover(arguments);
  Close('r', job, 0);
  return lines;
}

Lines Server::Query(const std::string& saveset, const std::string& question) const {
  Lines reply = Program(support::BuiltProgram("xfr_com_interface"),
                        {"-q", "-C", "bk", "-I", "sapr3", "-s", saveset, "-v", "2", question});
  EXPECT_EQ(reply.empty() ? "" : reply.front(), "reply=OK");
  if (!reply.empty()) {
    reply.erase(reply.begin());
  }
  return reply;
}
