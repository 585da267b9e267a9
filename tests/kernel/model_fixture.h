#ifndef TESTS_KERNEL_MODEL_FIXTURE_H
#define TESTS_KERNEL_MODEL_FIXTURE_H

#include <algorithm>

#include "kernel/quven_cat_field.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "kernel_fixture.h"
#include "model_examples.h"

/// A data point with its columns and the map of their names.
struct ModelWorld {
  QUVENOwnPtr<QUVENDataPoint> point;
  QUVENOwnPtr<QUVENFieldNameMap> names;

  QUVENField* field(std::string_view name) const { return names->find(name); }
};

/// Models over the columns a, b, c, t, w, line (numbers) and kind (texts).
class ModelTest : public KernelTest {
 protected:
  ModelTest() {
    world = makeWorld();
    a = world.field("a"), b = world.field("b"), c = world.field("c"), t = world.field("t");
    w = world.field("w"), line = world.field("line"), kind = world.field("kind");
  }
  void TearDown() override {
    end(world);
    KernelTest::TearDown();
  }

  ModelWorld makeWorld() {
    ModelWorld made;
    made.point = make<QUVENDataPoint>();
    made.names = make<QUVENFieldNameMap>();
    for (const char* name : {"a", "b", "c", "t", "w", "line", "kind"}) {
      QUVENOwnPtr<QUVENField> field(QUVEN_ENV);
      if (std::string_view(name) == "kind") {
        field = make<QUVENCatField>();
      } else {
        field = make<QUVENNumField>();
      }
      field->setName(name);
      const long index = made.point->addField(std::move(field), QUVEN_ENV);
      made.names->addReference(&made.point->getField(index), QUVEN_ENV);
    }
    return made;
  }
  void end(ModelWorld& ended) {
    ended.names.reset(QUVEN_ENV);
    ended.point.reset(QUVEN_ENV);
  }

  /// Reads an image into a pointer, its references through a map.
  template <class T>
  void readWith(QUVENFieldNameMap& names, const std::string& bytes, QUVENOwnPtr<T>& object) {
    EXPECT_EQ(readFrom(bytes,
                       [&](QUVENObjReader& reader) {
                         names.putInto(reader, QUVEN_ENV);
                         quvenReadObject(reader, object, T::typeName(), QUVEN_ENV);
                       }),
              0U);
  }

  /// The inputs as text: name and usage of each.
  static std::string inputsOf(const QUVENModel::Inputs& inputs) {
    std::string text;
    for (const QUVENModelInput& input : inputs) {
      text += (text.empty() ? "" : " ") + input.getField()->getName().str() + std::to_string(input.getUsage());
    }
    return text;
  }
  static std::string explanatory(const QUVENModel& model) { return inputsOf(model.getExplanatoryFields()); }

  ModelWorld world;
  QUVENField *a, *b, *c, *t, *w, *line, *kind;
};

#endif  // TESTS_KERNEL_MODEL_FIXTURE_H
