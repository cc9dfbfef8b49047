// Items as korvo shows them.
#pragma once

#include <string>

#include "korvo/json.h"
#include "store/pack/record.h"

namespace korvo {

// `1.2 GiB`; a word for what is no file.
[[nodiscard]] std::string ItemSize(const store::Item& item);
// When it was last changed; nothing for a first level, which stands for its name alone.
[[nodiscard]] std::string ItemTime(const store::Item& item);
// The name; with the text of a link behind it.
[[nodiscard]] std::string ItemName(const store::Item& item);
// name, kind (file, directory, link, first_level), size, modified, and of a link its target.
[[nodiscard]] Json JsonItem(const store::Item& item);

}  // namespace korvo
