#include <gtest/gtest.h>

#include "server/documents/xml_doc.h"

using namespace kvmon;

namespace {

std::string ErrorOf(const std::string& text) {
    CXmlDoc doc;
    EXPECT_FALSE(doc.SetDoc(text)) << text;
    EXPECT_FALSE(doc.IsWellFormed());
    EXPECT_FALSE(doc.FindChildElem());
    return doc.GetError();
}

std::string Repeat(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

}  // namespace

TEST(XmlDoc, WalksDownAndUpInTheOrderOfTheDocument) {
    CXmlDoc doc;
    ASSERT_TRUE(
        doc.SetDoc("text ahead <?xml version='1.0'?><!DOCTYPE r [<!ENTITY a \"]>\">]><!-- <no> -->\n"
                   "<root a=\"1\"><return>0</return>\n<ch0 x/><ch1><no>2</no><s0><id>7</id></s0>"
                   "<s1><id>8</id></s1></ch1 ><ch1/></root> behind"));
    EXPECT_TRUE(doc.IsWellFormed());
    ASSERT_TRUE(doc.FindChildElem("return"));
    EXPECT_EQ(doc.GetChildData(), "0");
    EXPECT_FALSE(doc.FindChildElem("return")) << "the search goes on behind the present child";
    EXPECT_FALSE(doc.FindChildElem("ch")) << "a part of a name is no name";
    ASSERT_TRUE(doc.FindChildElem("ch0"));
    EXPECT_EQ(doc.GetChildData(), "");
    ASSERT_TRUE(doc.FindChildElem("ch1"));
    ASSERT_TRUE(doc.IntoElem());
    EXPECT_FALSE(doc.IntoElem()) << "no child is chosen yet";
    ASSERT_TRUE(doc.FindChildElem("s0"));
    ASSERT_TRUE(doc.IntoElem());
    ASSERT_TRUE(doc.FindChildElem("id"));
    EXPECT_EQ(doc.GetChildData(), "7");
    ASSERT_TRUE(doc.OutOfElem());
    EXPECT_FALSE(doc.FindChildElem("no")) << "it stands before";
    ASSERT_TRUE(doc.FindChildElem("s1"));
    EXPECT_EQ(doc.GetChildData(), "") << "it has children";
    ASSERT_TRUE(doc.OutOfElem());
    EXPECT_FALSE(doc.OutOfElem());
    ASSERT_TRUE(doc.FindChildElem()) << "the second ch1";
    EXPECT_FALSE(doc.FindChildElem());
}

TEST(XmlDoc, GivesTextDecodedAndCDataAsItStands) {
    CXmlDoc doc;
    ASSERT_TRUE(
        doc.SetDoc("<r><a> &lt;b&gt; &amp;amp; &apos;&quot; &#65; &nbsp; & </a>"
                   "<b>\n <![CDATA[<x> &lt; ]]> tail</b><c/><d></d></r>"));
    ASSERT_TRUE(doc.FindChildElem("a"));
    EXPECT_EQ(doc.GetChildData(), " <b> &amp; '\" &#65; &nbsp; & ");
    ASSERT_TRUE(doc.FindChildElem("b"));
    EXPECT_EQ(doc.GetChildData(), "<x> &lt; ");
    ASSERT_TRUE(doc.FindChildElem("c"));
    EXPECT_EQ(doc.GetChildData(), "");
    ASSERT_TRUE(doc.FindChildElem("d"));
    EXPECT_EQ(doc.GetChildData(), "");
}

TEST(XmlDoc, SaysWhatIsWrong) {
    EXPECT_EQ(ErrorOf(""), "");
    EXPECT_EQ(ErrorOf("no markup"), "Element tag not found");
    EXPECT_EQ(ErrorOf("<?xml?>"), "Element tag not found");
    EXPECT_EQ(ErrorOf("</a>"), "Element tag not found");
    EXPECT_EQ(ErrorOf("<\"a\">"), "Tag starts with quote");
    EXPECT_EQ(ErrorOf("<!-- never ends"), "Invalid node");
    EXPECT_EQ(ErrorOf("<!DOCTYPE [ >"), "Invalid node");
    EXPECT_EQ(ErrorOf("<a"), "End of tag not found");
    EXPECT_EQ(ErrorOf("<a>x<"), "Abrupt end within tag");
    EXPECT_EQ(ErrorOf("<a b='1'>text"), "End tag of a element not found");
    EXPECT_EQ(ErrorOf("<a><b></b>"), "End tag of a element not found");
    EXPECT_EQ(ErrorOf("<a><b></a></b>"), "End tag does not correspond to b");
    EXPECT_EQ(ErrorOf("<a></ab>"), "End tag does not correspond to a");
    EXPECT_EQ(ErrorOf("<a></a"), "End tag not completed for element a");
    EXPECT_EQ(ErrorOf("<a></"), "End tag not completed for element a");
    CXmlDoc doc;
    ASSERT_FALSE(doc.SetDoc("<a>"));
    EXPECT_TRUE(doc.SetDoc("<a/>")) << "an error does not outlive its document";
    EXPECT_EQ(doc.GetError(), "");
}

TEST(XmlDoc, GrowsWithTheDocumentAndRefusesBombs) {
    CXmlDoc doc;
    ASSERT_TRUE(doc.SetDoc("<r>" + Repeat("<e/>", 5000) + "<last>9</last></r>"));
    int count = 0;
    while (doc.FindChildElem("e")) {
        ++count;
    }
    EXPECT_EQ(count, 5000);
    ASSERT_TRUE(doc.FindChildElem("last"));
    EXPECT_EQ(doc.GetChildData(), "9");

    EXPECT_TRUE(doc.SetDoc(Repeat("<d>", 200) + Repeat("</d>", 200)));
    EXPECT_EQ(ErrorOf(Repeat("<d>", 100000)), "Invalid node");
    EXPECT_EQ(ErrorOf("<d>" + std::string(CXmlDoc::kMaxLength, 'x') + "</d>"), "Invalid node");
}
