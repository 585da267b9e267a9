// The object stream of docs/formats.md is what the library writes.

#include "support/formats_page.h"

#include "control/quven_XML_handler.h"
#include "util/quven_bin_obj_writer.h"

TEST(FormatsPage, ShowsAnObjectStream) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  auto handler = QUVENXMLHandler::create(QUVEN_ENV);
  handler->resetTree(QUVEN_ENV);
  std::istringstream text("<Limit>5</Limit>\n");
  ASSERT_EQ(handler->readXMLStream(text, QUVEN_ENV), 1);
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  quvenWriteObject(writer, *handler, QUVEN_ENV);
  EXPECT_EQ(std::string(blob.getBytes().begin(), blob.getBytes().end()), bytes_of(page_blocks().at("hex stream")));
  QUVEN_DELETE(handler);
  QUVEN_DELETE(blob);
}
