#ifndef TESTS_SUPPORT_REGISTRY_WALK_H
#define TESTS_SUPPORT_REGISTRY_WALK_H

// A walk over every registered class that can be made: an object is filled from a seeded pattern by its own reading
// code, written, read, copied and moved, and what comes out is compared. A test program calls it over the types that it
// links:
//
//   TEST(Registry, EveryTypeTravels) { RegistryWalk().walk(); }

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_class_info.h"
#include "util/quven_object.h"

/// The registered types with a factory and a member list.
inline std::vector<const QUVENTypeName*> quvenMakableTypes() {
  std::vector<const QUVENTypeName*> types;
  for (long i = 1; i <= QUVENTypeNameAux::getNumTypes(); ++i) {
    const QUVENTypeName* type = QUVENTypeNameAux::getType(i);
    if (type != nullptr && !type->isAbstract() && QUVENClassInfo::find(*type) != nullptr) types.push_back(type);
  }
  return types;
}

/// A stream that nobody wrote: it offers the keywords of a class one after another, from the base down, each in one of
/// the three forms, and gives seeded values for whatever is asked.
class PatternReader : public QUVENObjReader {
 public:
  /// Excluded types do not occur inside the object.
  PatternReader(const QUVENTypeName& type, unsigned seed, const QUVENEnvHandle& env,
                std::set<std::string> excluded = {})
      : QUVENObjReader(env), first(&type), random(seed), excludedTypes(std::move(excluded)) {}

  void readNextKeyword(const QUVENEnvHandle& env) override {
    Frame& frame = frames.at(frames.size() - 1);
    if (frame.isArray) {
      offer(QUVEN_KWD(EndArray), QUVEN_ENV);
      frames.pop_back();
    } else if (frame.next == frame.members.size()) {
      offer(QUVEN_KWD(EndObject), QUVEN_ENV);
      frames.pop_back();
    } else {
      offer(*frame.members[frame.next++]->keyword, QUVEN_ENV);
    }
  }

  std::int8_t readSignedByte(const QUVENEnvHandle&) override { return static_cast<std::int8_t>(bits()); }
  std::uint8_t readUnsignedByte(const QUVENEnvHandle&) override { return static_cast<std::uint8_t>(bits()); }
  std::uint64_t readUnsignedVarint(const QUVENEnvHandle&) override { return bits(); }
  std::int64_t readSignedVarint(const QUVENEnvHandle&) override {
    return static_cast<std::int64_t>(below(2) == 0 ? bits() : ~bits());
  }
  double readDouble(const QUVENEnvHandle&) override {
    return (static_cast<double>(bits()) - static_cast<double>(bits())) / 8;
  }
  void readString(std::string& value, const QUVENEnvHandle&) override {
    value.clear();
    // A name that refers to something else would have to exist.
    if (member() != nullptr && member()->type.kind == QUVENValueKind::Reference) return;
    value.resize(below(12));
    for (char& letter : value) letter = static_cast<char>('a' + below(26));
  }
  const QUVENStringWithHash& readObjectType(const QUVENEnvHandle&) override {
    const QUVENTypeName* type = chooseType();
    typeName.assign(type == nullptr ? "" : type->getName());
    if (type != nullptr) frames.push_back(frameOf(*type));
    return typeName;
  }
  void expectBeginObject(const QUVENEnvHandle&) override {}
  std::int64_t expectBeginArraySize(const QUVENEnvHandle&) override {
    Frame array;
    array.isArray = true;
    array.member = member();
    frames.push_back(array);
    return frames.size() > deepest ? 0 : static_cast<std::int64_t>(below(4));
  }

  /// Whether every keyword that was offered was taken and every frame was closed.
  bool isFinished() const { return frames.empty(); }

 private:
  static constexpr std::size_t deepest = 6;  // frames; pointers are null and arrays empty from here on

  struct Frame {
    std::vector<const QUVENMemberInfo*> members;
    std::size_t next = 0;
    bool isArray = false;
    const QUVENMemberInfo* member = nullptr;  // whose array it is
  };

  static Frame frameOf(const QUVENTypeName& type) {
    Frame frame;
    std::vector<const QUVENClassInfo*> chain;
    for (const QUVENClassInfo* info = QUVENClassInfo::find(type); info != nullptr; info = info->getBase()) {
      chain.insert(chain.begin(), info);
    }
    for (const QUVENClassInfo* info : chain) {
      for (const QUVENMemberInfo& member : info->getMembers()) {
        if (member.keyword != nullptr) frame.members.push_back(&member);
      }
    }
    return frame;
  }

  static bool isOfClass(const QUVENTypeName& type, const QUVENTypeName& wanted) {
    const QUVENClassInfo* info = QUVENClassInfo::find(type);
    while (info != nullptr && !(info->getType() == wanted)) info = info->getBase();
    return info != nullptr;
  }

  /// The member whose value is being read, or null for the object itself.
  const QUVENMemberInfo* member() const {
    if (frames.empty()) return nullptr;
    const Frame& frame = frames.back();
    return frame.isArray ? frame.member : frame.members.at(frame.next - 1);
  }

  const QUVENTypeName* chooseType() {
    if (member() == nullptr) return first;
    const QUVENTypeName& wanted = member()->type.objectType();
    if (member()->type.kind == QUVENValueKind::ObjectByValue) return &wanted;
    if (frames.size() >= deepest || below(4) == 0) return nullptr;
    std::vector<const QUVENTypeName*> choice = quvenMakableTypes();
    std::erase_if(choice, [&](const QUVENTypeName* type) {
      return !isOfClass(*type, wanted) || excludedTypes.contains(type->getName());
    });
    return choice.empty() ? nullptr : choice[below(choice.size())];
  }

  void offer(const QUVENKeyword& keyword, const QUVENEnvHandle& env) {
    switch (below(3)) {
      case 0:
        return bufferCode(keyword.getCode());
      case 1:
        return bufferLevelAndOrdinal(keyword.getClassLevel(), keyword.getFieldOrdinal());
      default:
        return bufferName(keyword.getName(), QUVEN_ENV);
    }
  }

  std::uint64_t bits() { return random() >> below(64); }
  std::uint64_t below(std::uint64_t limit) { return random() % limit; }

  const QUVENTypeName* first;
  std::mt19937_64 random;
  std::set<std::string> excludedTypes;
  std::vector<Frame> frames;
  QUVENStringWithHash typeName;
};

/// Counts what an object still has that a transfer should have taken.
class LeftoverWriter : public QUVENObjWriter {
 public:
  LeftoverWriter() : QUVENObjWriter(Save) {}
  void writeKeyword(const QUVENKeyword&, const QUVENEnvHandle&) override {}
  void writeSignedByte(std::int8_t, const QUVENEnvHandle&) override {}
  void writeUnsignedByte(std::uint8_t, const QUVENEnvHandle&) override {}
  void writeString(std::string_view value, const QUVENEnvHandle&) override { leftovers += value.empty() ? 0 : 1; }
  void writeUnsignedVarint(std::uint64_t, const QUVENEnvHandle&) override {}
  void writeSignedVarint(std::int64_t, const QUVENEnvHandle&) override {}
  void writeDouble(double, const QUVENEnvHandle&) override {}
  void beginObjectType(std::string_view, const QUVENEnvHandle&) override {}
  void beginObject(const QUVENEnvHandle&) override {}
  void beginArray(std::int64_t size, const QUVENEnvHandle&) override { leftovers += size > 0 ? 1 : 0; }

  int leftovers = 0;
};

class RegistryWalk {
 public:
  /// Types that need something around them to be read, and types that refuse to be copied, are named here.
  std::set<std::string> skipped = {};
  unsigned seeds = 20;  ///< objects of each type

  /// Walks over all types; every failure is one of the running test. Gives the number of types.
  int walk() {
    environment.activate();
    int types = 0;
    for (const QUVENTypeName* type : quvenMakableTypes()) {
      if (skipped.contains(type->getName())) continue;
      ++types;
      for (unsigned seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE(std::string(type->getName()) + " of seed " + std::to_string(seed));
        visit(*type, seed);
      }
    }
    for (const std::string& name : skipped) EXPECT_NE(QUVENTypeNameAux::find(name), nullptr) << name;
    return types;
  }

 private:
  void visit(const QUVENTypeName& type, unsigned seed) {
    const std::int64_t before = environment.getBytesInUse();
    QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
    {
      PatternReader pattern(type, seed, QUVEN_ENV, skipped);
      quvenReadObject(pattern, object, type, QUVEN_ENV);
      EXPECT_TRUE(pattern.isFinished());
      EXPECT_EQ(pattern.getDepth(), 0);
    }
    EXPECT_TRUE(object->getTypeName() == type);
    EXPECT_EQ(object->isA(type), 1);
    for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
      checkRoundTrip(*object, mode);
    }
    checkCopyAndTransfer(*object);
    object.reset(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), before);
  }

  void checkRoundTrip(const QUVENObject& object, std::int32_t mode) {
    const std::string bytes = imageOf(object, mode);
    QUVENViewBlobIO blob({bytes.data(), bytes.size()});
    QUVENOwnPtr<QUVENObject> read(QUVEN_ENV);
    {
      QUVENBinObjReader reader(blob, QUVEN_ENV);
      quvenReadObject(reader, read, object.getTypeName(), QUVEN_ENV);
      EXPECT_EQ(blob.getRemaining(), 0U);
    }
    EXPECT_TRUE(imageOf(*read, mode) == bytes) << "mode " << mode;
    read.reset(QUVEN_ENV);
  }

  void checkCopyAndTransfer(const QUVENObject& object) {
    const std::string bytes = imageOf(object, QUVENObjWriter::Save);
    QUVENOwnPtr<QUVENObject> copy(QUVEN_ENV);
    const std::int64_t beforeCopy = environment.getBytesInUse();
    object.newCopy(copy, QUVEN_ENV);
    EXPECT_TRUE(imageOf(*copy, QUVENObjWriter::Save) == bytes);
    EXPECT_TRUE(imageOf(object, QUVENObjWriter::Save) == bytes);

    QUVENOwnPtr<QUVENObject> target(QUVEN_ENV);
    object.makeNewObject(target, QUVEN_ENV);
    target->transferFromPrimitive(copy.get(), QUVEN_ENV);
    EXPECT_TRUE(imageOf(*target, QUVENObjWriter::Save) == bytes);
    LeftoverWriter leftover;
    copy->writePrimitive(leftover, QUVEN_ENV);
    EXPECT_EQ(leftover.leftovers, 0);
    // Nothing but itself is charged for the source any more.
    const std::int64_t itself = copy->sizeOf();
    const std::int64_t beforeRelease = environment.getBytesInUse();
    copy.reset(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), beforeRelease - itself);
    target.reset(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), beforeCopy);
  }

  std::string imageOf(const QUVENObject& object, std::int32_t mode) {
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, mode);
    quvenWriteObject(writer, object, QUVEN_ENV);
    std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
    blob.deleteMemory(QUVEN_ENV);
    return bytes;
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

#endif  // TESTS_SUPPORT_REGISTRY_WALK_H
