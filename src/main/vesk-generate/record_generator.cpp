#include "record_generator.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <stdexcept>

#include "number_text.h"
#include "power_law.h"

namespace vesk_generate {

namespace {

constexpr std::uint32_t durationSlices = 4096;

const GeneratorSettings& checked(const GeneratorSettings& settings) {
  checkSettings(settings);
  return settings;
}

std::vector<char> makeBlankLine(const RecordLayout& layout) {
  std::vector<char> line(layout.lineBytes(), ' ');
  line.back() = '\n';
  return line;
}

}  // namespace

RecordGenerator::RecordGenerator(const GeneratorSettings& given)
    : settings(checked(given)),
      network(settings),
      spoiler(settings.badShares, settings.layout, Xoshiro256(settings.seed, RandomStream::BadLines)),
      random(settings.seed, RandomStream::Records),
      dates(dateTexts(settings.startDate, settings.days, settings.dateForm)),
      durations(durationQuantiles(durationSlices, settings.meanDurationSeconds)),
      blankLine(makeBlankLine(settings.layout)) {}

std::size_t RecordGenerator::fill(std::uint64_t lines, std::span<char> buffer) {
  lines = std::min(lines, recordsLeft());
  if (buffer.size() / lineBytes() < lines) throw std::length_error("the buffer is too small for the lines");
  char* place = buffer.data();
  for (std::uint64_t i = 0; i < lines; ++i) place += writeLine(place);
  return static_cast<std::size_t>(place - buffer.data());
}

CallRecord RecordGenerator::draw() {
  const CallNetwork::Call call = network.draw(random);
  const std::uint64_t day = drawDay();
  const std::uint64_t bits = random.next();
  ++recordsMade;
  return {call, day, durations[bits % durationSlices], drawMultiplicity(bits / durationSlices)};
}

std::size_t RecordGenerator::writeLine(char* line) {
  const CallRecord record = draw();
  std::memcpy(line, blankLine.data(), blankLine.size());
  const RecordLayout& layout = settings.layout;
  putNumberBefore(line + layout.caller.last, record.call.caller);
  putNumberBefore(line + layout.callee.last, record.call.callee);
  std::memcpy(line + layout.date.last - sizeof(DateText), dates[record.day].data(), sizeof(DateText));
  putNumberBefore(line + layout.duration.last, record.duration);
  putNumberBefore(line + layout.multiplicity.last, record.multiplicity);
  const std::size_t lineLength = spoiler.treat(line);
  if (outcomes != nullptr && !spoiler.hasSpoiledLast())
    outcomes->addRecord(record.call, record.duration, record.multiplicity);
  return lineLength;
}

/// The day of the record recordsMade: the days share out the records evenly and in order, or by chance.
std::uint64_t RecordGenerator::drawDay() {
  if (settings.shuffleDates) return random.below(settings.days);
  return recordsMade * settings.days / settings.records;
}

/// Two bits that are both 0 make one more call; the 52 bits there are allow for 25 of them.
std::uint32_t RecordGenerator::drawMultiplicity(std::uint64_t bits) const {
  const auto further = static_cast<std::uint32_t>(std::countr_zero(bits)) / 2;
  return std::min(1 + further, settings.maxMultiplicity);
}

}  // namespace vesk_generate
