#ifndef VESK_CHECK_KNOWN_TAGS_H
#define VESK_CHECK_KNOWN_TAGS_H

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

/// The kinds of tags that hold other tags.
enum class TagLevel { Top, Field, Operation, SpecialList, Xml };

/// Whether a tag of this level can have a tag of that name below it.
bool isKnownTag(TagLevel level, std::string_view name);

/// The number of a name such as Field12 with the stem Field: a decimal number from 1 without leading zeros.
std::optional<std::uint32_t> numberOf(std::string_view name, std::string_view stem);

/// What to say of a name that is not known on this level: " did you mean DateHorizon?", where it belongs, or "".
std::string hintFor(TagLevel level, std::string_view name);

/// The text among `known` that is nearest by edit distance, if it is near enough for a slip of typing. Case does not
/// count.
std::optional<std::string_view> nearestText(std::string_view text, std::initializer_list<std::string_view> known);
std::optional<std::string_view> nearestText(std::string_view text, const std::vector<std::string>& known);

}  // namespace vesk

#endif  // VESK_CHECK_KNOWN_TAGS_H
