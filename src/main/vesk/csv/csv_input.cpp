#include "csv/csv_input.h"

#include <stdexcept>

#include "command.h"

namespace vesk {

namespace {

template <typename Operation>
auto asBadData(const Operation& operation) {
  try {
    return operation();
  } catch (const std::runtime_error& error) {
    throw CommandFailure(Status::Data, error.what());
  }
}

}  // namespace

CsvInput::CsvInput(const std::string& path) : bytes(asBadData([&] { return vesk_files::InputBytes(path); })) {}

std::size_t CsvInput::read(char* data, std::size_t size) {
  return asBadData([&] { return bytes.read(data, size); });
}

}  // namespace vesk
