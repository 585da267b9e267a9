#include "defect_list.h"

#include <ostream>

namespace vesk_inspect {

void DefectList::add(std::uint64_t record, std::uint64_t offsetBytes, const std::string& text) {
  add("record " + std::to_string(record) + " (byte " + std::to_string(offsetBytes) + "): " + text);
}

void DefectList::add(const std::string& text) {
  ++count;
  if (lines.size() < limit) lines.push_back(text);
}

void DefectList::print(std::ostream& out) const {
  if (count == 0) {
    out << "checks: sound\n";
    return;
  }
  out << "checks: " << count << (count == 1 ? " defect\n" : " defects\n");
  for (const std::string& line : lines) out << "  " << line << "\n";
  if (count > lines.size()) out << "  and " << count - lines.size() << " more\n";
}

}  // namespace vesk_inspect
