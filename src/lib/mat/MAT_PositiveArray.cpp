#include "mat/MAT_PositiveArray.h"

void PositiveArrayBase::print(std::ostream& out) const {
  out << "[ ";
  for (std::size_t i = 0; i < elements.size(); ++i) out << elements[i] << (i + 1 < elements.size() ? ", " : " ");
  out << "]";
}

void PositiveArrayBase::save(MAT_PortableWriter& writer) const {
  writer.write(getSize());
  for (const std::uint32_t element : elements) writer.write(element);
}

void PositiveArrayBase::load(MAT_PortableReader& reader) {
  std::vector<std::uint32_t> read;
  for (std::uint32_t left = reader.readInteger(); left > 0; --left) read.push_back(reader.readInteger());
  elements = std::move(read);
}
