// The embedded server's stories once more, with its repository in a bucket, its catalog in a database, or
// both: what they tell is the same.
#include <algorithm>
#include <set>

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

class RealServers : public testing::TestWithParam<ScenarioText> {};

TEST_P(RealServers, TheStoryIsTheSame) { TellStory(GetParam()); }

// A part of them, which goes through all that the server does: what is behind its two doors knows nothing of
// each other.
const std::set<std::string>& ChosenTitles() {
  static const std::set<std::string> chosen = {
      "files of every kind and name come back",
      "an interrupted run keeps what it confirmed",
      "saved whole they come back as they were",
      "it lists the backups of a file newest first and withdrawn ones last",
      "it serves many callers at once from the first moment on",
      "it does the rest when an item cannot be done",
      "rules say what stays, and why",
      "what is whole is found whole, as often as it is asked",
      "everything comes back without a session, bytes, times and modes"};
  return chosen;
}

std::vector<ScenarioText> ChosenStoriesWith(const std::string& servers, const std::string& lookedAt) {
  std::vector<ScenarioText> stories = StoriesWith(servers, lookedAt);
  std::erase_if(stories, [](const ScenarioText& story) { return ChosenTitles().count(story.title) == 0; });
  return stories;
}

TEST(ChosenStories, AreAllThere) {
  EXPECT_EQ(ChosenStoriesWith("database", "catalog.db").size(), ChosenTitles().size());
  EXPECT_EQ(ChosenStoriesWith("bucket and database", "repository").size(), ChosenTitles().size());
}

// Each alone, and all stories of the server once: the sanitizers see the same code in the others.
#if !defined(_WIN32) && !defined(__SANITIZE_ADDRESS__)
INSTANTIATE_TEST_SUITE_P(PosixBucket, RealServers, testing::ValuesIn(StoriesWith("bucket", "repository")),
                         NameOfStory);
INSTANTIATE_TEST_SUITE_P(PosixDatabase, RealServers,
                         testing::ValuesIn(ChosenStoriesWith("database", "catalog.db")), NameOfStory);
#endif
INSTANTIATE_TEST_SUITE_P(BucketAndDatabase, RealServers,
                         testing::ValuesIn(ChosenStoriesWith("bucket and database", "repository")),
                         NameOfStory);

}  // namespace
