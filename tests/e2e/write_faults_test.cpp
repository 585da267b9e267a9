#include "loader_case.h"

namespace vesk_e2e {
namespace {

using Strings = std::vector<std::string>;
using Numbers = std::vector<double>;

/// Outputs that cannot be opened, and files that find no room while they are written.
class LoaderWriteFaultsRun : public LoaderCase {
 protected:
  static constexpr rlim_t room = 64 * 1024;  // more than standard output needs, which has the same limit

  LoaderWriteFaultsRun() { parameters("fields 1-5 7-7; Key 1; Output Sparse; op Add 2 2"); }

  void manyRecords(int callers) {
    std::string bytes;
    for (int key = 1; key <= callers; ++key) {
      const std::string text = std::to_string(key);
      bytes += text + std::string(6 - text.size(), ' ') + "5\n";
    }
    writeFile("in/a", bytes);
    lineCount = callers;
  }
  std::string scan() const { return listed({"a"}) + scanned("a", lineCount, 7); }
  void expectOutputFailure(const std::string& errors) {
    run();
    expectRun(99, head() + opened() + scan() + writingBegins() + errors + illEnd());
  }

  int lineCount = 0;
};

const std::string writeFailed = fatal(1325, "write_pml_file: Unexpected exception occured (check io and memory)");
const std::string sparseRowFailed = fatal(1320, "writeFeaturesToSparse: Unexpected exception occured (probably io)");
const std::string denseRowFailed = fatal(1321, "writeFeaturesToDense: Unexpected exception occured");
const std::string storeFailed = fatal(1323, "write_process_file: Unexpected exception occured (probably IO)");
const std::string notOpened = fatal(1304, "Error writing pml file ");

TEST_F(LoaderWriteFaultsRun, AnOutputInADirectoryThatIsMissingEndsTheRun) {
  manyRecords(1);
  for (const std::string form : {"Sparse", "Dense", "CSV", "XML"}) {
    SCOPED_TRACE(form);
    parameters("fields 1-5 7-7; Key 1; op Add 2 2; Output " + form);
    outputFile = "missing/out";
    expectOutputFailure(notOpened);
    EXPECT_EQ(files(), Strings{});
  }
}

TEST_F(LoaderWriteFaultsRun, AnOutputThatIsADirectoryEndsTheRun) {
  manyRecords(1);
  std::filesystem::create_directory(path("out"));
  expectOutputFailure(notOpened);
  EXPECT_EQ(files(), Strings{});
}

TEST_F(LoaderWriteFaultsRun, ThePayloadFilesAreOpenedBeforeTheMainFile) {
  parameters("fields 1-5 7-7; Key 1; Output Sparse; CyclicTableSize 1; op CyclicAdd 2; op CyclicAddPayload 2");
  manyRecords(1);
  std::filesystem::create_directory(path("out"));
  expectOutputFailure(notOpened);
  EXPECT_EQ(files(), Strings{"out_payload_1"});
  EXPECT_EQ(content("out_payload_1"), "");
}

TEST_F(LoaderWriteFaultsRun, APayloadFileThatCannotBeOpenedEndsTheRun) {
  parameters("fields 1-5 7-7; Key 1; Output Sparse; CyclicTableSize 1; op CyclicAdd 2; op CyclicAddPayload 2");
  manyRecords(1);
  std::filesystem::create_directory(path("out_payload_1"));
  expectOutputFailure(notOpened);
  EXPECT_EQ(files(), Strings{});
}

TEST_F(LoaderWriteFaultsRun, TheProcessFileIsCompleteWhenTheOutputFails) {
  manyRecords(1);
  processFile = "process";
  outputFile = "missing/out";
  run();
  expectRun(99, head() + opened() + processFileMissing() + scan() + processFileWritten(1) + writingBegins() +
                    notOpened + illEnd());
  EXPECT_EQ(files(), Strings{"process"});
  EXPECT_EQ(numbers("process"), (Numbers{1, 0, 5, -2, -1}));
}

TEST_F(LoaderWriteFaultsRun, ADescriptionThatCannotBeOpenedEndsTheRun) {
  manyRecords(1);
  std::filesystem::create_directory(path("out.info"));
  expectOutputFailure(writeFailed);
  EXPECT_EQ(numbers("out"), (Numbers{1, 0, 2, 1, 1, 5, 1, 3, 0}));
}

// The rows of a short binary output are written after its last row. That used to be outside the writer of the rows, so
// the codes of a failure depended on the size of the output.
TEST_F(LoaderWriteFaultsRun, AFullDiskAtTheEndOfAnOutputEndsTheRun) {
  manyRecords(1);
  outputFile = "/dev/full";
  const std::vector<std::pair<std::string, std::string>> forms = {
      {"Sparse", sparseRowFailed}, {"Dense", denseRowFailed}, {"CSV", ""}, {"XML", ""}};
  for (const auto& [form, rowFailed] : forms) {
    SCOPED_TRACE(form);
    parameters("fields 1-5 7-7; Key 1; op Add 2 2; Output " + form);
    expectOutputFailure(rowFailed + writeFailed);
    EXPECT_EQ(files(), Strings{});
    EXPECT_FALSE(std::filesystem::exists("/dev/full.info"));
  }
}

TEST_F(LoaderWriteFaultsRun, AFullDiskWithinASparseOutputIsAnErrorOfItsWriterToo) {
  manyRecords(20000);  // 20000 rows of 72 bytes: more than is collected before a write
  limits.fileBytes = room;
  expectOutputFailure(sparseRowFailed + writeFailed);
  EXPECT_EQ(files(), Strings{"out"});
  EXPECT_LE(content("out").size(), room);
}

TEST_F(LoaderWriteFaultsRun, AFullDiskWithinADenseOutputIsAnErrorOfItsWriterToo) {
  parameters("fields 1-5 7-7; Key 1; Output Dense; CyclicTableSize 10; op CyclicAdd 2");
  manyRecords(20000);  // rows of 88 bytes
  limits.fileBytes = room;
  expectOutputFailure(denseRowFailed + writeFailed);
  EXPECT_EQ(files(), Strings{"out"});
}

TEST_F(LoaderWriteFaultsRun, AFullDiskWithinATextOutputEndsTheRun) {
  manyRecords(20000);
  limits.fileBytes = room;
  for (const std::string form : {"CSV", "XML"}) {
    SCOPED_TRACE(form);
    parameters("fields 1-5 7-7; Key 1; op Add 2 2; Output " + form);
    expectOutputFailure(writeFailed);
    EXPECT_EQ(files(), Strings{"out"});
  }
}

TEST_F(LoaderWriteFaultsRun, AFullDiskInThePayloadFileOnlyEndsTheRun) {
  parameters("fields 1-5 7-7; Key 1; Output Dense; CyclicTableSize 1; op CyclicAdd 2; op CyclicAddPayload 2");
  manyRecords(1);
  std::filesystem::create_symlink("/dev/full", path("out_payload_1"));
  expectOutputFailure(denseRowFailed + writeFailed);
  EXPECT_FALSE(exists("out.info"));
}

TEST_F(LoaderWriteFaultsRun, AFullDiskWhileTheProcessFileIsWrittenLeavesACutFile) {
  manyRecords(20000);  // records of 40 bytes
  processFile = "process";
  limits.fileBytes = room;
  run();
  expectRun(99, head() + opened() + processFileMissing() + scan() +
                    logLine(0, ">>> VESK loader: starting write_process_file, file = process") + storeFailed +
                    illEnd());
  EXPECT_EQ(files(), Strings{"process"});
  EXPECT_EQ(content("process").size(), room);

  // The next run finds a file that ends inside a record.
  limits = {};
  run();
  expectRun(99, head() + opened() + logLine(0, ">>> VESK loader: starting read_process_file, file = process") +
                    fatal(1312, "read_process_file: Unexpected exception") + illEnd());
  EXPECT_EQ(content("process").size(), room);
}

}  // namespace
}  // namespace vesk_e2e
