// Stories: scenarios that are told in text files, in the language of the page in `data`.
#pragma once

#include "scenarios/story.h"

// Carries out a story's sections. What is not as the story says is a failure of the current test, with file,
// line, section and run in its message.
void TellStory(const ScenarioText& story);

// The name of its test: file and title, with `_` for whatever is no letter or digit.
std::string NameOfStory(const testing::TestParamInfo<ScenarioText>& told);
