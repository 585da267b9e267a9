#include "table/table_column.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "control/quven_file_formats.h"
#include "table/key_value.h"

namespace vesk {

namespace {

constexpr const char* notAKey = "is no key; a key must be a whole number below 2^53";

}  // namespace

TableColumn::TableColumn(std::string columnName, Wish typeWish, bool target)
    : name(std::move(columnName)), wish(typeWish), isTargetColumn(target) {}

void TableColumn::look(std::string_view text, const CellValue& cell, std::uint64_t line) {
  const auto note = [&](std::optional<Place>& place) {
    if (!place) place = Place{line, std::string(text)};
  };
  if (isWrongKey(cell)) note(firstWrongKey);
  if (cell.kind == CellKind::Missing) {
    ++missing;
    return;
  }
  if (isTargetColumn) lookAtTarget(text);
  // Programs that write a number with an exponent often round it, and a rounded key is a different key.
  if (wish == Wish::Key && text.find_first_of("eE") != std::string_view::npos) {
    note(firstExponent);
    ++exponents;
  }
  if (cell.kind == CellKind::Text) {
    note(firstText);
  } else if (cell.kind == CellKind::NotFinite) {
    note(firstNotFinite);
  } else if (cell.number == dataset_format::missingValue) {
    note(firstMissingNumber);
  } else {
    ++numbers;
  }
}

bool TableColumn::isWrongKey(const CellValue& cell) const {
  if (wish == Wish::CategoryKey) return cell.kind == CellKind::Missing;
  return wish == Wish::Key && (cell.kind != CellKind::Number || !isKey(cell.number));
}

void TableColumn::lookAtTarget(std::string_view text) {
  constexpr std::size_t most = 3;  // one more than a target may have
  if (targetTexts.size() < most && std::ranges::find(targetTexts, text) == targetTexts.end()) {
    targetTexts.emplace_back(text);
  }
}

std::optional<CellMistake> TableColumn::decide() {
  const auto mistake = [this](const Place& place, const std::string& what) {
    return CellMistake{place.line, shownText(place.text) + " of column " + name + " " + what};
  };
  if (firstWrongKey) return mistake(*firstWrongKey, wish == Wish::Key ? notAKey : "is no key");
  if (wish == Wish::Categorical || wish == Wish::CategoryKey || (firstText && wish == Wish::Any && !isTargetColumn)) {
    type = Type::Categorical;
    return std::nullopt;
  }
  if (firstText && wish == Wish::Numeric) return mistake(*firstText, "is not a number");
  if (firstText) return decideTarget();
  if (firstNotFinite) return mistake(*firstNotFinite, "is not a finite number");
  if (firstMissingNumber) {
    return mistake(*firstMissingNumber, "means a missing value in a dataset; name it in --missing if it is one");
  }
  return std::nullopt;
}

std::optional<CellMistake> TableColumn::decideTarget() {
  std::ranges::sort(targetTexts);
  std::string texts;
  for (const std::string& text : targetTexts) texts.append(texts.empty() ? "" : ", ").append(shownText(text));
  if (targetTexts.size() == 1) {
    return CellMistake{0, "the target " + name + " has the one text " + texts + "; a target of texts has two"};
  }
  if (targetTexts.size() > 2) {
    return CellMistake{0, "the target " + name + " has more than two texts: " + texts};
  }
  type = Type::TwoTexts;
  return std::nullopt;
}

dataset_info::Column TableColumn::describe() const {
  return {name, type == Type::Categorical ? dataset_info::Categorical : dataset_info::Numeric,
          isTargetColumn ? dataset_info::Target : dataset_info::Explanatory};
}

std::string TableColumn::remark() const {
  if (exponents > 0) {
    return std::to_string(exponents) + " keys of column " + name + " have an exponent, first " +
           shownText(firstExponent->text) + " in line " + std::to_string(firstExponent->line) +
           "; if the program that wrote them rounded them, they are the keys of others";
  }
  if (type != Type::Categorical || wish != Wish::Any || numbers == 0) return {};
  return "column " + name + " is categorical, with " + std::to_string(numbers) +
         " cells that are numbers: " + shownText(firstText->text) + " in line " + std::to_string(firstText->line) +
         " is not one";
}

std::optional<double> TableColumn::take(std::string_view text, const CellValue& cell) {
  if (isWrongKey(cell)) return std::nullopt;
  if (cell.kind == CellKind::Missing) return dataset_format::missingValue;
  switch (type) {
    case Type::Categorical:
      return codeOf(text);
    case Type::TwoTexts:
      for (std::size_t i = 0; i < targetTexts.size(); ++i) {
        if (targetTexts[i] == text) return static_cast<double>(i);
      }
      return std::nullopt;
    case Type::Numeric:
      break;
  }
  if (cell.kind != CellKind::Number || cell.number == dataset_format::missingValue) return std::nullopt;
  return cell.number;
}

std::optional<double> TableColumn::codeOf(std::string_view text) {
  const std::uint64_t code = quvenCategoryCode(text);
  const auto refuseOther = [&](const std::string& other) {
    if (other == text) return;
    throw std::runtime_error("the texts " + shownText(other) + " and " + shownText(text) + " of column " + name +
                             " have the same code " + std::to_string(code) + "; change one of them");
  };
  if (otherTexts != nullptr) {
    if (const auto other = otherTexts->find(code); other != otherTexts->end()) refuseOther(other->second);
  }
  if (wish != Wish::CategoryKey) refuseOther(categories.try_emplace(code, text).first->second);
  return static_cast<double>(code);
}

void TableColumn::addLabels(QUVENTableLabels& labels) const {
  for (std::size_t i = 0; type == Type::TwoTexts && i < targetTexts.size(); ++i) {
    static_cast<void>(labels.add(name, i, targetTexts[i]));
  }
  for (const auto& [code, text] : categories) static_cast<void>(labels.add(name, code, text));
}

}  // namespace vesk
