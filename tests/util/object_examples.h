#ifndef TESTS_UTIL_OBJECT_EXAMPLES_H
#define TESTS_UTIL_OBJECT_EXAMPLES_H

#include <cstdint>
#include <string>

#include "util/quven_object_of.h"
#include "util/quven_string.h"
#include "util/quven_xaray.h"

/// Classes with members of every kind, registered in object_examples.cpp.

class QUVENTestLeaf : public QUVENObjectOf<QUVENTestLeaf, QUVENObject> {
 public:
  QUVEN_MEMBER(ivNumber, std::int32_t) = 0;
  QUVEN_MEMBER(ivText, std::string);
};

class QUVENTestNode : public QUVENObjectOf<QUVENTestNode, QUVENObject> {
 public:
  QUVEN_MEMBER(ivSignedByte, std::int8_t) = 0;
  QUVEN_MEMBER(ivUnsignedByte, std::uint8_t) = 0;
  QUVEN_MEMBER(ivBoolean, bool) = false;
  QUVEN_MEMBER(ivShort, std::int16_t) = 0;
  QUVEN_MEMBER(ivUnsignedShort, std::uint16_t) = 0;
  QUVEN_MEMBER(ivInt, std::int32_t) = 0;
  QUVEN_MEMBER(ivUnsigned, std::uint32_t) = 0;
  QUVEN_MEMBER(ivLong, std::int64_t) = 0;
  QUVEN_MEMBER(ivUnsignedLong, std::uint64_t) = 0;
  QUVEN_MEMBER(ivFloat, float) = 0;
  QUVEN_MEMBER(ivDouble, double) = 0;
  QUVEN_MEMBER(ivText, std::string);
  QUVEN_MEMBER(ivName, QUVENStringWithHash);
  QUVEN_MEMBER(ivBytes, QUVENXaRay<std::uint8_t>);
  QUVEN_MEMBER(ivChars, QUVENXaRay<char>);
  QUVEN_MEMBER(ivBooleans, QUVENXaRay<bool>);
  QUVEN_MEMBER(ivInts, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER(ivLongs, QUVENXaRay<std::int64_t>);
  QUVEN_MEMBER(ivUnsignedLongs, QUVENXaRay<std::uint64_t>);
  QUVEN_MEMBER(ivFloats, QUVENXaRay<float>);
  QUVEN_MEMBER(ivDoubles, QUVENXaRay<double>);
  QUVEN_MEMBER(ivTexts, QUVENXaRay<std::string, 0>);
  QUVEN_MEMBER(ivLeaf, QUVENTestLeaf);
  QUVEN_MEMBER(ivLeaves, QUVENXaRay<QUVENTestLeaf, 0>);
  QUVEN_MEMBER(ivOwned, QUVENOwnPtr<QUVENTestLeaf>);
  QUVEN_MEMBER(ivChildren, QUVENXaRay<QUVENOwnPtr<QUVENTestNode>, 0>);
  QUVEN_MEMBER(ivAny, QUVENOwnPtr<QUVENObject>);
};

/// A class with a base that has members, a keyword of another name, conditions, and members that no stream carries.
class QUVENTestDerived : public QUVENObjectOf<QUVENTestDerived, QUVENTestLeaf> {
 public:
  QUVEN_MEMBER_AS("weight", ivWeight, double) = 1;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLimit, std::int32_t) = 5;
  QUVEN_MEMBER_IF(ivWeight > 0, ivPositive, std::string);
  QUVEN_MEMBER(ivLast, std::uint32_t) = 0;
  QUVEN_STATE(counter, std::int32_t) = 0;
  QUVEN_STATE(cache, QUVENXaRay<double>);
  int postReads = 0;  // listed nowhere

  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
};

/// Without members of its own.
class QUVENTestPlain : public QUVENObjectOf<QUVENTestPlain, QUVENTestDerived> {};

/// Registered, but nobody can make one.
class QUVENTestAbstract : public QUVENObjectOf<QUVENTestAbstract, QUVENObject> {
 public:
  QUVEN_MEMBER(ivShared, std::int32_t) = 0;

 protected:
  QUVENTestAbstract() = default;
};

class QUVENTestConcrete : public QUVENObjectOf<QUVENTestConcrete, QUVENTestAbstract> {
 public:
  QUVEN_MEMBER(ivOwn, std::int32_t) = 0;
};

#endif  // TESTS_UTIL_OBJECT_EXAMPLES_H
