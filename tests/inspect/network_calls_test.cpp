#include "network_calls.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

using testing::joined;
using testing::pairSumRow;
using testing::tableRow;
using ::testing::ThrowsMessage;

class NetworkCallsTest : public testing::InspectTest {
 protected:
  std::string calls(const std::string& name = "file") const {
    std::string text;
    forEachCall(path(name), [&](const NetworkCall& call) {
      text += std::to_string(call.caller) + ">" + std::to_string(call.callee) + ":" + std::to_string(call.weight) + " ";
    });
    return text;
  }
  void writeBytes(const std::vector<double>& numbers, const std::string& name) const {
    writeText(bytesOf(numbers), name);
  }
  void expectRefused(const std::string& message) const {
    EXPECT_THAT([&] { (void)calls(); }, ThrowsMessage<std::runtime_error>(message));
  }
};

TEST_F(NetworkCallsTest, ReadsTablesAndPairSums) {
  writeNumbers(joined({tableRow(1, 2, {3, 5}), tableRow(2, 2, {5}), tableRow(3, 2, {})}));
  EXPECT_EQ(calls(), "1>3:1.000000 1>5:1.000000 2>5:1.000000 ");
  writeNumbers(joined({pairSumRow(1, 2, {{3, 0.5}, {5, 7788}}), pairSumRow(4, 2, {{1, 2}})}));
  EXPECT_EQ(calls(), "1>3:0.500000 1>5:7788.000000 4>1:2.000000 ");
  writeText("");
  EXPECT_EQ(calls(), "");
}

TEST_F(NetworkCallsTest, ReadsPartsInTheirOrder) {
  writeBytes(pairSumRow(3, 1, {{1, 2}}), "net.0");
  writeBytes({}, "net.1");
  writeBytes(pairSumRow(1, 1, {{3, 4}}), "net.2");
  EXPECT_EQ(calls("net"), "3>1:2.000000 1>3:4.000000 ");
}

TEST_F(NetworkCallsTest, RefusesPartsThatAreNotOfOneDataset) {
  writeBytes(pairSumRow(3, 1, {{1, 2}}), "net.0");
  writeBytes(tableRow(1, 1, {3}), "net.2");
  EXPECT_THAT([&] { (void)calls("net"); },
              ThrowsMessage<std::runtime_error>(path("net.1") + ": a part of the dataset is missing"));
  writeBytes({}, "net.1");
  EXPECT_THAT([&] { (void)calls("net"); },
              ThrowsMessage<std::runtime_error>(path("net.2") + " is of another kind than the parts before"));
}

TEST_F(NetworkCallsTest, RefusesWhatIsNoNetworkDataset) {
  expectRefused("cannot open " + path() + ": No such file or directory");
  writeNumbers({1, 0, 1, 1, 1, 5});
  expectRefused(path() + ": the file ends within a row");
  writeNumbers(tableRow(1, 1, {5}), "more");
  expectRefused(path() + ": record 4 (byte 72): the size 76 is not a multiple of 24, 4 bytes are left over");
  writeNumbers(tableRow(1, 1, {5.5}));
  expectRefused(path() + ": record 2 (byte 24): 5.5 is no subscriber");
  writeNumbers(tableRow(-1, 1, {5}));
  expectRefused(path() + ": record 2 (byte 24): -1 is no subscriber");
  writeNumbers(pairSumRow(1, 1, {{0x1p64, 1}}));
  expectRefused(path() + ": record 2 (byte 24): 18446744073709551616 is no subscriber");
  writeNumbers(pairSumRow(1, 1, {{2, -1}}));
  expectRefused(path() + ": record 2 (byte 24): the weight -1 is not a number of at least 0");
  writeNumbers(joined({tableRow(2, 1, {5}), tableRow(1, 1, {5})}));
  expectRefused(path() + ": record 4 (byte 72): key 1 does not rise above key 2");
  writeText("Col1 Numeric Explanatory\nCol2 Numeric Explanatory\n", "file.info");
  expectRefused(path() + " is not sparse by " + path("file.info"));
}

}  // namespace
}  // namespace vesk_inspect
