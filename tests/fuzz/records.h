// Records of the null saveset in the null repository.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "store/pack/record.h"

namespace fuzz {

// With a hash that is right; and the fields without it.
[[nodiscard]] std::string RecordOf(std::string_view fields);
[[nodiscard]] std::string FieldsOf(const store::Item& item);

// A file, a directory, a link in it.
[[nodiscard]] std::vector<store::Item> SampleItems();

}  // namespace fuzz
