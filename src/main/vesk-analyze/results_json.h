#ifndef VESK_ANALYZE_RESULTS_JSON_H
#define VESK_ANALYZE_RESULTS_JSON_H

#include <functional>
#include <string>
#include <string_view>

#include "control/quven_XML_tag.h"

namespace vesk_analyze {

/// Says of a leaf, by its path below the top tag, whether it is a text even if it looks like a number.
using IsTextLeaf = std::function<bool(std::string_view path)>;

/// The children of a tag as a JSON object, two blanks per level, with a line feed at the end.
///
/// A branch is an object, a leaf is a number or a text. A number has the digits of the leaf where JSON allows them,
/// otherwise the shortest digits that read back to the same double. A leaf that is no finite number is a text.
/// Children NAME-1 to NAME-n in this order are one member NAME with an array, and a branch with only the children v1 to
/// vn is an array. In texts U+FFFD replaces each byte that is not UTF-8.
std::string resultsJson(const QUVENXMLTag& results, const IsTextLeaf& isText);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_RESULTS_JSON_H
