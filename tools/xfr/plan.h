// The items of a request, each once, in their order.
#pragma once

#include <map>
#include <string>
#include <vector>

struct Plan {
  std::vector<std::string> items;
  // Under which names each of them is to be reported: an item that is listed again, perhaps with other
  // separators, is worked on once and reported under each of its spellings.
  std::map<std::string, std::vector<std::string>> spellings;
};

[[nodiscard]] Plan MakePlan(const std::vector<std::string>& items);
