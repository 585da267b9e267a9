#include "page/html_table.h"

#include <gtest/gtest.h>

#include <sstream>

namespace vesk_page {
namespace {

TEST(HtmlTable, EscapesTextsAndNamesItsParts) {
  std::ostringstream out;
  HtmlTable table(out, {{"a<b", false, true}, {"n"}}, "x & \"y\"");
  table.addRow({"</script>", "1"});
  table.close();
  EXPECT_EQ(out.str(),
            "<div class=\"scroll\" role=\"region\" tabindex=\"0\" aria-label=\"x &amp; &quot;y&quot;\"><table>\n"
            "<caption>x &amp; &quot;y&quot;</caption>\n<thead><tr><th scope=\"col\">a&lt;b</th>"
            "<th scope=\"col\" class=\"number\">n</th></tr></thead>\n<tbody>\n"
            "<tr><th scope=\"row\">&lt;/script&gt;</th><td class=\"number\">1</td></tr>\n</tbody>\n</table></div>\n");
}

TEST(HtmlTable, HasNoCaptionUnlessItIsGiven) {
  std::ostringstream out;
  HtmlTable table(out, {{"a", false}});
  table.addRow({"b"});
  table.close();
  EXPECT_EQ(out.str(),
            "<div class=\"scroll\"><table>\n<thead><tr><th scope=\"col\">a</th></tr></thead>\n<tbody>\n"
            "<tr><td>b</td></tr>\n</tbody>\n</table></div>\n");
}

}  // namespace
}  // namespace vesk_page
