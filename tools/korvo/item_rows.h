// Items as korvo shows them.
#pragma once

#include <string>

#include "korvo/json.h"
#include "store/pack/record.h"

namespace korvo {

// `1.2 GiB` for a file, otherwise `directory` or `link`.
[[nodiscard]] std::string ItemSize(const store::Item& item);
// When it was last changed, in local time. Empty for a first level, of which only the name was saved.
[[nodiscard]] std::string ItemTime(const store::Item& item);
// The name; for a link `NAME -> TARGET`.
[[nodiscard]] std::string ItemName(const store::Item& item);
// Members: name, kind (file, directory, link, first_level), size, modified, and for a link target.
[[nodiscard]] Json JsonItem(const store::Item& item);

}  // namespace korvo
