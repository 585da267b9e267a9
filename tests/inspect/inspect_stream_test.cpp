#include "inspect_stream.h"

#include <gmock/gmock.h>

#include <sstream>
#include <stdexcept>

#include "inspect_fixture.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

class QUVENInspectedThing : public QUVENObjectOf<QUVENInspectedThing, QUVENObject> {
 public:
  QUVEN_MEMBER(ivName, std::string);
  QUVEN_MEMBER(ivValues, QUVENXaRay<double>);
  QUVEN_MEMBER(ivNext, QUVENOwnPtr<QUVENInspectedThing>);
};
QUVEN_REGISTER(QUVENInspectedThing);

namespace vesk_inspect::testing {
namespace {

using ::testing::HasSubstr;

/// Writes streams and runs the sub-command on them.
class InspectStream : public InspectTest {
 protected:
  InspectStream() { environment.activate(); }

  /// The bytes of a mark and two objects, the first with another one inside.
  std::string sampleStream() {
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
    auto thing = quvenMake<QUVENInspectedThing>(QUVEN_ENV);
    thing->ivName = "outer";
    for (int i = 1; i <= 30; ++i) thing->ivValues.append(i, QUVEN_ENV);
    thing->ivNext = quvenMake<QUVENInspectedThing>(QUVEN_ENV);
    writer.writeKeyword(QUVENKeyword::name("ScanResult"), QUVEN_ENV);
    quvenWriteObject(writer, *thing, QUVEN_ENV);
    quvenWriteObject(writer, static_cast<QUVENObject*>(nullptr), QUVEN_ENV);
    const std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
    QUVEN_DELETE(thing);
    QUVEN_DELETE(blob);
    return bytes;
  }

  /// What the sub-command printed; the reports of the library are in reports.
  std::string run(std::size_t elements = 20) {
    std::ostringstream out;
    ::testing::internal::CaptureStdout();
    try {
      sound = inspectStream({path(), elements}, out);
    } catch (const std::runtime_error& error) {
      out << "FAILED: " << error.what();
    }
    reports = ::testing::internal::GetCapturedStdout();
    return out.str();
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  bool sound = false;
  std::string reports;
};

TEST_F(InspectStream, PrintsMarksAndObjects) {
  writeText(sampleStream());
  EXPECT_EQ(run(4),
            "mark \"ScanResult\"\n"
            "QUVENInspectedThing {\n"
            "  ivName = \"outer\"\n"
            "  ivValues = [30] {\n"
            "    1 2 3 4\n"
            "    ...\n"
            "  }\n"
            "  ivNext = QUVENInspectedThing {\n"
            "    ivName = \"\"\n"
            "    ivValues = [0]\n"
            "    ivNext = null\n"
            "  }\n"
            "}\n"
            "null\n");
  EXPECT_TRUE(sound);
  EXPECT_THAT(run(0), HasSubstr("28 29 30\n"));
  EXPECT_EQ(reports, "");
}

TEST_F(InspectStream, AMarkCannotPassForOtherLines) {
  writeText(
      "\x8d"
      "a\nnull\n\x1b[2J\xff"
      "x\xc1\x80");
  EXPECT_EQ(run(), "mark \"a\\x0anull\\x0a\\x1b[2J\xffx\"\nnull\n");
  EXPECT_TRUE(sound);
}

TEST_F(InspectStream, SaysWhereACutStreamStops) {
  const std::string bytes = sampleStream();
  const std::string objectOnly = bytes.substr(0, bytes.size() - 2);  // the null object is two bytes
  for (std::size_t length = 1; length < bytes.size(); ++length) {
    writeText(bytes.substr(0, length));
    const std::string shown = run();
    const std::size_t markBytes = 11;
    if (length == objectOnly.size()) {  // as if it had never been longer
      EXPECT_TRUE(sound) << length;
      continue;
    }
    EXPECT_FALSE(sound) << length;
    if (length == markBytes) {
      EXPECT_EQ(shown, "mark \"ScanResult\"\n" + path() + " holds no object\n");
      continue;
    }
    EXPECT_THAT(shown, HasSubstr(path() + " is cut, or is no object stream: stopped at byte ")) << length;
    EXPECT_THAT(shown, HasSubstr(" of " + std::to_string(length) + ", behind ")) << length;
    EXPECT_THAT(reports, HasSubstr("*** ERROR in function ")) << length;
  }
}

TEST_F(InspectStream, RefusesForeignFiles) {
  writeText("caller callee\n");  // ten bytes make no number
  EXPECT_EQ(run(), path() + " is cut, or is no object stream: stopped at byte 10 of 14, behind 0 whole objects\n");
  EXPECT_THAT(reports, HasSubstr("BLOB Binary I/O Read Error"));
  writeText("");
  EXPECT_EQ(run(), path() + " holds no object\n");
  EXPECT_FALSE(sound);
  writeText("\xc1\x87Unknown\xc2");
  EXPECT_THAT(run(), HasSubstr("stopped at byte 9 of 10, behind 0 whole objects\n"));
  EXPECT_THAT(reports, HasSubstr("Input object type does not match known object types"));
  writeText("\xc2");
  EXPECT_THAT(run(), HasSubstr("stopped at byte 1 of 1, behind 0 whole objects\n"));
  EXPECT_THAT(reports, HasSubstr("Input keyword does not match expected keyword(s)"));
}

TEST_F(InspectStream, ReportsFilesThatCannotBeRead) {
  EXPECT_EQ(run(), "FAILED: cannot open " + path() + ": No such file or directory");
  std::ostringstream out;
  EXPECT_THROW(inspectStream({"/", 20}, out), std::runtime_error);
}

}  // namespace
}  // namespace vesk_inspect::testing
