// The embedded server's stories once more, with its repository in a bucket: what they tell is the same.
#include <algorithm>

#include "scenarios/story_run.h"

namespace {

// The stories of the server in which nobody looks into the repository's own directory.
std::vector<ScenarioText> StoriesInABucket() {
  std::vector<ScenarioText> stories = ReadScenarios(SCENARIO_DATA);
  std::erase_if(stories, [](ScenarioText& story) {
    bool serves = false;
    bool looksInside = false;
    for (Section& section : story.sections) {
      if (section.head == "server") {
        section.head = "bucket";
        serves = true;
      }
      looksInside =
          looksInside || std::any_of(section.lines.begin(), section.lines.end(), [](const auto& line) {
            return line.find("repository") != std::string::npos;
          });
    }
    return !serves || looksInside;
  });
  return stories;
}

class PosixBucket : public testing::TestWithParam<ScenarioText> {};

TEST_P(PosixBucket, Happens) { TellStory(GetParam()); }

std::string NameOf(const testing::TestParamInfo<ScenarioText>& told) {
  std::string name = told.param.file + '_' + told.param.title;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Posix, PosixBucket, testing::ValuesIn(StoriesInABucket()), NameOf);

}  // namespace
