#ifndef TESTS_UTIL_RANDOM_OBJECTS_H
#define TESTS_UTIL_RANDOM_OBJECTS_H

#include <random>
#include <string>

#include "object_examples.h"

/// Trees of the example classes from a seed.
class RandomObjects {
 public:
  RandomObjects(unsigned seed, const QUVENEnvHandle& env) : random(seed), environment(&env.resolve()) {}

  QUVENOwnPtr<QUVENTestNode> node(int depth) {
    auto made = quvenMake<QUVENTestNode>(QUVENEnvHandle(*environment, __FILE__, __LINE__, __func__));
    fill(*made, depth);
    return made;
  }

  QUVENOwnPtr<QUVENObject> any(int depth) {
    const QUVENEnvHandle env(*environment, __FILE__, __LINE__, __func__);
    QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
    switch (below(depth > 0 ? 6 : 5)) {
      case 0:
        made = quvenMake<QUVENObject>(QUVEN_ENV);
        break;
      case 1:
        made = filled(quvenMake<QUVENTestDerived>(QUVEN_ENV));
        break;
      case 2:
        made = filled(quvenMake<QUVENTestPlain>(QUVEN_ENV));
        break;
      case 3:
        made = quvenMake<QUVENTestConcrete>(QUVEN_ENV);
        break;
      case 4:
        break;
      default:
        made = node(depth - 1);
        break;
    }
    return made;
  }

  std::uint64_t below(std::uint64_t limit) { return random() % limit; }

 private:
  std::uint64_t bits() { return random() >> below(64); }
  double real() { return static_cast<double>(static_cast<std::int64_t>(bits())) / 7; }
  std::string text() {
    std::string made(below(3) == 0 ? below(80) : below(4), ' ');
    for (char& letter : made) letter = static_cast<char>(random());
    return made;
  }
  long size() { return static_cast<long>(below(8) == 0 ? below(600) : below(4)); }

  template <class T, int kind, class Make>
  void fill(QUVENXaRay<T, kind>& array, Make&& make) {
    const QUVENEnvHandle env(*environment, __FILE__, __LINE__, __func__);
    for (long i = size(); i > 0; --i) array.append(static_cast<T>(make()), QUVEN_ENV);
  }

  void fill(QUVENTestLeaf& leaf) {
    leaf.ivNumber = static_cast<std::int32_t>(bits());
    leaf.ivText = text();
  }
  template <class Derived>
  QUVENOwnPtr<Derived> filled(QUVENOwnPtr<Derived> made) {
    fill(*made);
    made->ivWeight = real();
    made->ivLimit = static_cast<std::int32_t>(bits());
    made->ivPositive = text();
    made->ivLast = static_cast<std::uint32_t>(bits());
    return made;
  }
  void fill(QUVENTestNode& node, int depth) {
    const QUVENEnvHandle env(*environment, __FILE__, __LINE__, __func__);
    node.ivSignedByte = static_cast<std::int8_t>(bits());
    node.ivUnsignedByte = static_cast<std::uint8_t>(bits());
    node.ivBoolean = below(2) == 1;
    node.ivShort = static_cast<std::int16_t>(bits());
    node.ivUnsignedShort = static_cast<std::uint16_t>(bits());
    node.ivInt = static_cast<std::int32_t>(bits());
    node.ivUnsigned = static_cast<std::uint32_t>(bits());
    node.ivLong = static_cast<std::int64_t>(bits());
    node.ivUnsignedLong = bits();
    node.ivFloat = static_cast<float>(real());
    node.ivDouble = real();
    node.ivText = text();
    node.ivName.assign(text());
    fill(node.ivBytes, [&] { return random(); });
    fill(node.ivChars, [&] { return random(); });
    fill(node.ivBooleans, [&] { return below(2); });
    fill(node.ivInts, [&] { return bits(); });
    fill(node.ivLongs, [&] { return bits(); });
    fill(node.ivUnsignedLongs, [&] { return bits(); });
    fill(node.ivFloats, [&] { return real(); });
    fill(node.ivDoubles, [&] { return real(); });
    fill(node.ivTexts, [&] { return text(); });
    fill(node.ivLeaf);
    for (std::uint64_t i = below(4); i > 0; --i) {
      node.ivLeaves.append(QUVENTestLeaf(), QUVEN_ENV);
      fill(node.ivLeaves[node.ivLeaves.getSize()]);
    }
    if (below(2) == 1) node.ivOwned = filled(quvenMake<QUVENTestPlain>(QUVEN_ENV));
    for (std::uint64_t i = depth > 0 ? below(4) : 0; i > 0; --i) {
      node.ivChildren.append(below(4) == 0 ? QUVENOwnPtr<QUVENTestNode>() : this->node(depth - 1), QUVEN_ENV);
    }
    node.ivAny = any(depth);
  }

  std::mt19937_64 random;
  QUVENEnv* environment;
};

#endif  // TESTS_UTIL_RANDOM_OBJECTS_H
