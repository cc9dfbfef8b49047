// The embedded server's stories once more, with its repository in a bucket, its catalog in a database, or
// both: what they tell is the same.
#include <algorithm>

#include "scenarios/story_run.h"

namespace {

bool Names(const ScenarioText& story, const std::string& text) {
  return std::any_of(story.sections.begin(), story.sections.end(), [&](const Section& section) {
    return std::any_of(section.lines.begin(), section.lines.end(),
                       [&](const std::string& line) { return line.find(text) != std::string::npos; });
  });
}

// The stories of the server in which nobody looks where the other place, or the other catalog, has nothing.
std::vector<ScenarioText> StoriesWith(const std::string& servers, const std::string& lookedAt) {
  std::vector<ScenarioText> stories = ReadScenarios(SCENARIO_DATA);
  std::erase_if(stories, [&](ScenarioText& story) {
    bool serves = false;
    for (Section& section : story.sections) {
      if (section.head == "server") {
        section.head = servers;
        serves = true;
      }
    }
    return !serves || Names(story, lookedAt);
  });
  return stories;
}

class PosixRealServers : public testing::TestWithParam<ScenarioText> {};

TEST_P(PosixRealServers, TheStoryIsTheSame) { TellStory(GetParam()); }

std::string NameOf(const testing::TestParamInfo<ScenarioText>& told) {
  std::string name = told.param.file + '_' + told.param.title;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(PosixBucket, PosixRealServers,
                         testing::ValuesIn(StoriesWith("bucket", "repository")), NameOf);
INSTANTIATE_TEST_SUITE_P(PosixDatabase, PosixRealServers,
                         testing::ValuesIn(StoriesWith("database", "catalog.db")), NameOf);
INSTANTIATE_TEST_SUITE_P(PosixBucketAndDatabase, PosixRealServers,
                         testing::ValuesIn(StoriesWith("bucket and database", "repository")), NameOf);

}  // namespace
