#include "control/quven_dataset_parts.h"

#include <gmock/gmock.h>

#include "support/temporary_folder.h"

namespace {

using ::testing::ElementsAre;

class DatasetFiles : public ::testing::Test {
 protected:
  QUVENDatasetFiles find() const { return quvenFindDatasetFiles(folder.path("d")); }
  TemporaryFolder folder;
};

TEST_F(DatasetFiles, AreTheFileOrItsParts) {
  EXPECT_THAT(find().paths, ElementsAre(folder.path("d")));
  folder.write("d", "");
  EXPECT_THAT(find().paths, ElementsAre(folder.path("d")));
  EXPECT_FALSE(find().areParts);
  std::filesystem::remove(folder.path("d"));
  folder.write("d.0", "");
  folder.write("d.1", "");
  folder.write("d.0.info", "");
  folder.write("d.100", "");  // not the number of a part
  folder.write("d.02", "");
  EXPECT_THAT(find().paths, ElementsAre(folder.path("d.0"), folder.path("d.1")));
  EXPECT_TRUE(find().areParts);
  EXPECT_EQ(find().wrongFile, "");
}

TEST_F(DatasetFiles, ReportAMissingPart) {
  folder.write("d.2", "");
  EXPECT_EQ(find().wrongFile, folder.path("d.0"));
  folder.write("d.0", "");
  EXPECT_EQ(find().wrongFile, folder.path("d.1"));
  EXPECT_EQ(find().mistake, "a part of the dataset is missing");
}

TEST_F(DatasetFiles, ReportAPartBesideTheSingleFile) {
  folder.write("d", "");
  folder.write("d.99", "");
  EXPECT_EQ(find().wrongFile, folder.path("d.99"));
  EXPECT_EQ(find().mistake, "a part is beside the single file " + folder.path("d") + "; one of them is of another run");
}

}  // namespace
