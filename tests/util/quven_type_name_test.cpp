#include "util/quven_type_name.h"

#include <set>

#include "object_examples.h"
#include "recording_object.h"
#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_class_info.h"
#include "util/quven_registration.h"

// A class that nothing mentions but its registration.
class QUVENTestUnmentioned : public QUVENObjectOf<QUVENTestUnmentioned, QUVENObject> {};
QUVEN_REGISTER(QUVENTestUnmentioned);

namespace {

class QUVENTypeNameTest : public RecordedEnvironment {
 protected:
  static std::int64_t registryBytes() { return QUVENEnv::getDefault().getBytesInUse(); }
};

void makeRecorder(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) {
  result = quvenMake<QUVENTestRecorder>(QUVEN_ENV, 5);
}

}  // namespace

TEST_F(QUVENTypeNameTest, RegistrationGivesTheNextIndex) {
  const long types = QUVENTypeNameAux::getNumTypes();
  const QUVENTypeName type("QUVENTestNextIndex", nullptr);
  EXPECT_EQ(type.getIndex(), types + 1);
  EXPECT_EQ(QUVENTypeNameAux::getNumTypes(), types + 1);
  EXPECT_STREQ(type.getName(), "QUVENTestNextIndex");
  EXPECT_EQ(QUVENTypeNameAux::getType(types + 1), &type);
}

TEST_F(QUVENTypeNameTest, TheFirstOfANameStaysAndTheSecondSharesItsIndex) {
  const QUVENTypeName first("QUVENTestTwice", nullptr);
  const long types = QUVENTypeNameAux::getNumTypes();
  {
    const QUVENTypeName second("QUVENTestTwice", makeRecorder);
    EXPECT_EQ(second.getIndex(), first.getIndex());
    EXPECT_TRUE(first == second);
    EXPECT_EQ(QUVENTypeNameAux::getNumTypes(), types);
    EXPECT_EQ(QUVENTypeNameAux::find("QUVENTestTwice"), &first);
  }
  // The second did not take the cell of the first along.
  EXPECT_EQ(QUVENTypeNameAux::find("QUVENTestTwice"), &first);
}

TEST_F(QUVENTypeNameTest, AnEndedTypeLeavesItsIndexAndAnEmptyCell) {
  long index = 0;
  {
    const QUVENTypeName type("QUVENTestEnded", nullptr);
    index = type.getIndex();
  }
  EXPECT_EQ(QUVENTypeNameAux::getIndex("QUVENTestEnded"), index);
  EXPECT_EQ(QUVENTypeNameAux::find("QUVENTestEnded"), nullptr);
  EXPECT_EQ(QUVENTypeNameAux::getType(index), nullptr);
  const QUVENTypeName again("QUVENTestEnded", nullptr);
  EXPECT_EQ(again.getIndex(), index);
  EXPECT_EQ(QUVENTypeNameAux::find("QUVENTestEnded"), &again);
}

TEST_F(QUVENTypeNameTest, ASecondTypeDoesNotMoveIntoTheCellWhenTheFirstEnds) {
  std::optional<QUVENTypeName> first(std::in_place, "QUVENTestFirstEnds", nullptr);
  const QUVENTypeName second("QUVENTestFirstEnds", nullptr);
  first.reset();
  EXPECT_EQ(QUVENTypeNameAux::find("QUVENTestFirstEnds"), nullptr);
  EXPECT_EQ(QUVENTypeNameAux::getIndex("QUVENTestFirstEnds"), second.getIndex());
}

TEST_F(QUVENTypeNameTest, IndexAndLookupTakeTextsWithAndWithoutHash) {
  const QUVENTypeName& type = QUVENTestLeaf::typeName();
  EXPECT_EQ(QUVENTypeNameAux::getIndex("QUVENTestLeaf"), type.getIndex());
  EXPECT_EQ(QUVENTypeNameAux::getIndex(QUVENStringWithHash("QUVENTestLeaf")), type.getIndex());
  EXPECT_EQ(QUVENTypeNameAux::find("QUVENTestLeaf"), &type);
  EXPECT_EQ(QUVENTypeNameAux::find(QUVENStringWithHash("QUVENTestLeaf")), &type);
  EXPECT_EQ(QUVENTypeNameAux::find(std::string_view("QUVENTestLeafs", 13)), &type);
}

TEST_F(QUVENTypeNameTest, UnknownNamesHaveIndexZeroAndNoType) {
  for (const char* name : {"", "QUVENTestLea", "QUVENTestLeafs", "quventestleaf"}) {
    EXPECT_EQ(QUVENTypeNameAux::getIndex(name), 0) << name;
    EXPECT_EQ(QUVENTypeNameAux::getIndex(QUVENStringWithHash(name)), 0) << name;
    EXPECT_EQ(QUVENTypeNameAux::find(name), nullptr) << name;
  }
}

TEST_F(QUVENTypeNameTest, IndicesOutOfRangeHaveNoType) {
  const long types = QUVENTypeNameAux::getNumTypes();
  for (const long index : {-1L, 0L, types + 1}) EXPECT_EQ(QUVENTypeNameAux::getType(index), nullptr) << index;
  EXPECT_NE(QUVENTypeNameAux::getType(1), nullptr);
}

TEST_F(QUVENTypeNameTest, StringHoldsTheTextWithItsZeroAndItsHash) {
  QUVENTypeNameString string("QUVENDataPoint", QUVEN_ENV);
  EXPECT_EQ(string.getSize(), 15);
  EXPECT_EQ(inUse(), 15);
  EXPECT_EQ(string.view(), "QUVENDataPoint");
  EXPECT_EQ(string.hash(), hashBytes("QUVENDataPoint", 14, 0));

  QUVENTypeNameString copy;
  copy.copyFrom(string, QUVEN_ENV);
  EXPECT_EQ(copy, string);
  EXPECT_EQ(copy.getSize(), 15);
  EXPECT_EQ(inUse(), 30);
  QUVEN_DELETE(copy);
  EXPECT_EQ(copy.view(), "");
  EXPECT_EQ(string.view(), "QUVENDataPoint");
  QUVEN_DELETE(string);
}

TEST_F(QUVENTypeNameTest, ChargesItsStringToNoEnvironmentOfARun) {
  const QUVENTypeName first("QUVENTestCharge", nullptr);  // the tables of the registry have the name from here on
  const std::int64_t globalBytes = QUVENEnv::getGlobalBytesInUse();
  const std::int64_t characters = registryBytes();
  {
    const QUVENTypeName second("QUVENTestCharge", nullptr);
    EXPECT_EQ(QUVENEnv::getGlobalBytesInUse(), globalBytes + static_cast<std::int64_t>(sizeof(QUVENTypeNameString)));
    EXPECT_EQ(registryBytes(), characters + 16);
    EXPECT_EQ(inUse(), 0);
  }
  EXPECT_EQ(QUVENEnv::getGlobalBytesInUse(), globalBytes);
  EXPECT_EQ(registryBytes(), characters);
}

TEST_F(QUVENTypeNameTest, RegistrationWithoutMemoryLeavesNothingBehind) {
  const std::int64_t globalBytes = QUVENEnv::getGlobalBytesInUse();
  const auto registers = [](long allowed) {
    return !capturedRun([&] {
              const FailingAllocation failure(allowed);
              const QUVENTypeName type("QUVENTestARatherLongNameOfAClass", nullptr);
            }).threwMemoryException;
  };
  long allowed = 0;
  for (; !registers(allowed); ++allowed) {
    // Tables that have grown stay so; from then on nothing changes.
    for (int i = 0; i < 20 && !registers(allowed); ++i) {
    }
    const std::int64_t before = registryBytes();
    registers(allowed);
    EXPECT_EQ(registryBytes(), before) << allowed;
    EXPECT_EQ(QUVENEnv::getGlobalBytesInUse(), globalBytes) << allowed;
    EXPECT_EQ(inUse(), 0) << allowed;
    EXPECT_EQ(QUVENTypeNameAux::find("QUVENTestARatherLongNameOfAClass"), nullptr);
  }
  EXPECT_GT(allowed, 4);  // the string, its text and its characters, and their copies in the table
  EXPECT_NE(QUVENTypeNameAux::getIndex("QUVENTestARatherLongNameOfAClass"), 0);
}

TEST_F(QUVENTypeNameTest, CreateCallsTheFactory) {
  const QUVENTypeName type("QUVENTestFactory", makeRecorder);
  EXPECT_FALSE(type.isAbstract());
  QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
  type.create(object, QUVEN_ENV);
  ASSERT_NE(object.get(), nullptr);
  EXPECT_EQ(static_cast<QUVENTestRecorder&>(*object).number, 5);
  EXPECT_EQ(inUse(), Recorder::bytes);
  QUVEN_DELETE(object);
}

TEST_F(QUVENTypeNameTest, CreateOfAnAbstractTypeFailsItsAssertion) {
  EXPECT_TRUE(QUVENTestAbstract::typeName().isAbstract());
  QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
  const CapturedRun run = capturedRun([&] { QUVENTestAbstract::typeName().create(object, QUVEN_ENV); });
  EXPECT_THAT(run.out, testing::StartsWith("\n*** ERROR in function create at line "));
  EXPECT_THAT(run.out, testing::EndsWith(" in file quven_type_name.cpp\n    ASSERTION FAILED (ivFactoryFunc != 0)\n"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(object, nullptr);
}

TEST_F(QUVENTypeNameTest, QUVENObjectHasAFactory) {
  EXPECT_FALSE(QUVENObject::typeName().isAbstract());
  QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
  QUVENObject::typeName().create(object, QUVEN_ENV);
  EXPECT_EQ(object->getTypeName(), QUVENObject::typeName());
  EXPECT_EQ(inUse(), static_cast<std::int64_t>(sizeof(QUVENObject)));
  QUVEN_DELETE(object);
}

TEST_F(QUVENTypeNameTest, EveryRegisteredClassIsThereBeforeItsFirstUse) {
  std::set<std::string> names;
  for (long index = 1; index <= QUVENTypeNameAux::getNumTypes(); ++index) {
    if (const QUVENTypeName* type = QUVENTypeNameAux::getType(index)) {
      EXPECT_EQ(type->getIndex(), index);
      EXPECT_TRUE(names.insert(type->getName()).second) << type->getName();
    }
  }
  for (const char* name :
       {"QUVENObject", "QUVENTestLeaf", "QUVENTestNode", "QUVENTestDerived", "QUVENTestPlain", "QUVENTestAbstract",
        "QUVENTestConcrete", "QUVENTestRecorder", "QUVENTestDerivedRecorder", "QUVENTestUnmentioned"}) {
    EXPECT_TRUE(names.contains(name)) << name;
  }
}

TEST_F(QUVENTypeNameTest, AnUnmentionedClassIsMadeFromItsName) {
  const QUVENTypeName* type = QUVENTypeNameAux::find("QUVENTestUnmentioned");
  ASSERT_NE(type, nullptr);
  QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
  type->create(object, QUVEN_ENV);
  EXPECT_EQ(object->getTypeName(), *type);
  EXPECT_EQ(object->isA(QUVENObject::typeName()), 1);
  ASSERT_NE(QUVENClassInfo::find(*type), nullptr);
  EXPECT_TRUE(QUVENClassInfo::find(*type)->getMembers().empty());
  QUVEN_DELETE(object);
}
