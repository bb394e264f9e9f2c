#include "agent/report/report_page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

bool Contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

size_t Count(const std::string& text, std::string_view part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// Without its style and its script, which are files of their own.
std::string Without(std::string page, const std::string& element) {
  const size_t begin = page.find("<" + element + ">") + element.size() + 2;
  return page.erase(begin, page.find("</" + element + ">") - begin);
}

std::string PageOf(const agent::Report& report) {
  return Without(Without(agent::ReportPage(report), "style"), "script");
}

std::string PageOf(const ObjInv& document) {
  return PageOf({document, nullptr, "2026-01-31 12:34 UTC", "Nothing."});
}

bool IsVoid(const std::string& name) {
  const std::vector<std::string> names = {"!DOCTYPE", "meta", "input"};
  return std::find(names.begin(), names.end(), name) != names.end();
}

// The first element that is not closed where it should be; empty when there is none.
std::string Misnested(const std::string& page) {
  std::vector<std::string> open;
  for (size_t at = page.find('<'); at != std::string::npos; at = page.find('<', at + 1)) {
    const size_t end = page.find('>', at);
    const bool isClosing = page[at + 1] == '/';
    const size_t begin = at + (isClosing ? 2 : 1);
    const std::string name = page.substr(begin, page.find_first_of(" >/", begin) - begin);
    if (isClosing) {
      if (open.empty() || open.back() != name) return "</" + name + ">";
      open.pop_back();
    } else if (!IsVoid(name) && page[end - 1] != '/') {
      open.push_back(name);
    }
  }
  return open.empty() ? "" : "<" + open.back() + ">";
}

void AddDisk(ObjInv& document, const char* name, const char* size, const char* free) {
  ObjType* disks = document.Ensure("Logical Disk");
  disks->Ensure("Size", "Integer")->SetUnit("MB");
  disks->Ensure("FreeSpace", "Integer");
  disks->Ensure("Label", "String")->SetDesc("What it is for");
  disks->Ensure(name)->Ensure("Size")->SetValue(size);
  disks->Ensure(name)->Ensure("FreeSpace")->SetValue(free);
}

// The page of a document with what changed from the old one.
std::string PageOfChanges(const ObjInv& old, const ObjInv& now) {
  ObjInv difference(nullptr);
  ObjInv marked(nullptr);
  marked.CopyFrom(now);
  EXPECT_TRUE(now.Diff(old, difference));
  EXPECT_TRUE(marked.Merge(difference));
  return PageOf({now, &marked, "", "Since."});
}

TEST(ReportPage, EmptyInventoryIsAPageThatSaysSo) {
  const ObjInv document(nullptr);
  const std::string page = PageOf(document);
  EXPECT_EQ("", Misnested(page));
  EXPECT_TRUE(Contains(page, "The inventory is empty."));
  EXPECT_FALSE(Contains(page, "id=\"capacity\""));
}

TEST(ReportPage, AsksForNothingFromOutside) {
  ObjInv document(nullptr);
  AddDisk(document, "sda1", "100", "50");
  const std::string page = agent::ReportPage({document, nullptr, "", ""});
  EXPECT_TRUE(Contains(page, "content=\"default-src 'none'; style-src 'sha256-"));
  EXPECT_FALSE(Contains(page, "unsafe-inline"));
  for (const char* part : {" src=", "@import", "url(", "http:", "https:", "<link", " style="}) {
    EXPECT_FALSE(Contains(page, part)) << part;
  }
}

TEST(ReportPage, InstancesAreRowsBelowNamesAndUnits) {
  ObjInv document(nullptr);
  AddDisk(document, "sda1", "100", "50");
  AddDisk(document, "sda2", "200", "20");
  const std::string page = PageOf(document);
  EXPECT_EQ("", Misnested(page));
  EXPECT_TRUE(
      Contains(page, "<th scope=\"col\" class=\"num\">Size <span class=\"unit\">MB</span></th>"))
      << page;
  EXPECT_TRUE(Contains(page,
                       "<tr><th scope=\"row\">sda2</th><td class=\"num\">200</td>"
                       "<td class=\"num\">20</td></tr>"))
      << page;
  EXPECT_TRUE(Contains(page, "Without values: Label"));
}

TEST(ReportPage, OneInstanceIsListedValueByValue) {
  ObjInv document(nullptr);
  AddDisk(document, "sda1", "100", "50");
  document.Ensure("Logical Disk")->Ensure("sda1")->Ensure("Label")->SetValue("root");
  const std::string page = PageOf(document);
  EXPECT_EQ("", Misnested(page));
  EXPECT_TRUE(Contains(page,
                       "<tr><th scope=\"row\">Label<span class=\"note\">What it is for</span></th>"
                       "<td>root</td></tr>"))
      << page;
}

TEST(ReportPage, ColumnOfTextsIsNotAlignedAsNumbers) {
  ObjInv document(nullptr);
  AddDisk(document, "sda1", "100", "50");
  AddDisk(document, "sda2", "unknown", "20");
  EXPECT_TRUE(Contains(PageOf(document), "<td>unknown</td><td class=\"num\">20</td>"));
}

TEST(ReportPage, ClassWithoutInstancesIsNamedAtTheEnd) {
  ObjInv document(nullptr);
  document.Ensure("Tape");
  AddDisk(document, "sda1", "100", "50");
  const std::string page = PageOf(document);
  EXPECT_TRUE(Contains(page, "<h3>Nothing found</h3>\n<ul>\n<li>Tape</li>\n</ul>")) << page;
  EXPECT_TRUE(Contains(page, "href=\"#class-2\""));
  EXPECT_TRUE(Contains(page, "id=\"class-2\""));
}

TEST(ReportPage, FileSystemsAreDrawnToScale) {
  ObjInv document(nullptr);
  AddDisk(document, "sda1", "1000", "250");
  AddDisk(document, "sda2", "1000", "100");
  const std::string page = PageOf(document);
  EXPECT_TRUE(Contains(page, "<rect class=\"first\" width=\"750\" height=\"10\"/>")) << page;
  EXPECT_TRUE(Contains(page, "75 % used"));
  EXPECT_EQ(1U, Count(page, "almost full"));
  EXPECT_TRUE(Contains(page, "750 MB of 1.0 GB, 250 MB free"));
}

TEST(ReportPage, SizesThatMakeNoSenseAreNotDrawn) {
  ObjInv document(nullptr);
  AddDisk(document, "a", "0", "0");
  AddDisk(document, "b", "10", "20");
  AddDisk(document, "c", "18446744073709551615", "1");
  AddDisk(document, "d", "many", "1");
  EXPECT_FALSE(Contains(PageOf(document), "<rect"));
}

TEST(ReportPage, OfManyFileSystemsTheFullestAreDrawn) {
  ObjInv document(nullptr);
  for (int n = 0; n < 100; ++n) {
    AddDisk(document, std::to_string(n).c_str(), "100", std::to_string(n).c_str());
  }
  const std::string page = PageOf(document);
  EXPECT_EQ(12U, Count(page, "<rect"));
  EXPECT_TRUE(Contains(page, "The 12 fullest of 100")) << page;
  EXPECT_TRUE(Contains(page, "100 % used"));
  EXPECT_FALSE(Contains(page, "88 % used"));
}

TEST(ReportPage, ModifiedValueShowsWhatItWas) {
  ObjInv old(nullptr);
  ObjInv now(nullptr);
  AddDisk(old, "sda1", "100", "50");
  AddDisk(now, "sda1", "100", "");
  old.Ensure("Logical Disk")->Ensure("sda1")->Ensure("Label")->SetValue("");
  now.Ensure("Logical Disk")->Ensure("sda1")->Ensure("Label")->SetValue("data");
  const std::string page = PageOfChanges(old, now);
  EXPECT_EQ("", Misnested(page));
  EXPECT_TRUE(Contains(page, "<td class=\"changed\"><ins>data</ins> <del>(empty)</del></td>"))
      << page;
  EXPECT_TRUE(Contains(page, "<td>FreeSpace</td><td>50</td><td class=\"note\">(empty)</td>"))
      << page;
  EXPECT_TRUE(Contains(page, "Changes</a> <span class=\"count\">2</span>"));
}

TEST(ReportPage, AddedAndRemovedInstancesAreMarkedAsAWhole) {
  ObjInv old(nullptr);
  ObjInv now(nullptr);
  AddDisk(old, "sda1", "100", "50");
  AddDisk(old, "sdb1", "1", "1");
  AddDisk(now, "sda1", "100", "50");
  AddDisk(now, "sdc1", "2", "2");
  const std::string page = PageOfChanges(old, now);
  EXPECT_EQ("", Misnested(page));
  EXPECT_TRUE(Contains(page,
                       "<tr class=\"removed\"><th scope=\"row\">sdb1 <span class=\"tag removed\">"
                       "removed</span></th><td class=\"num\">1</td>"))
      << page;
  EXPECT_TRUE(Contains(page, "<td>sdc1</td><td></td><td></td><td>2 values</td></tr>")) << page;
  EXPECT_TRUE(Contains(page, "<td>sdb1</td><td></td><td>2 values</td><td></td></tr>")) << page;
}

TEST(ReportPage, RemovedMovedAndRedefinedThingsAreTold) {
  ObjInv old(nullptr);
  ObjInv now(nullptr);
  old.Ensure("Tape")->Ensure("0");
  AddDisk(old, "a", "1", "1");
  AddDisk(old, "b", "1", "1");
  AddDisk(now, "b", "1", "1");
  AddDisk(now, "a", "1", "1");
  now.Ensure("Logical Disk")->Ensure("Size", "")->SetUnit("GB");
  const std::string page = PageOfChanges(old, now);
  EXPECT_EQ("", Misnested(page));
  EXPECT_TRUE(Contains(page, "<span class=\"tag removed\">removed</span></td><td>Tape</td>"))
      << page;
  EXPECT_TRUE(Contains(page, "<td>Size</td><td></td><td>definition: unit MB -&gt; GB</td>"));
  EXPECT_EQ(1U, Count(page, "<tr class=\"moved\"><td>"));
}

TEST(ReportPage, NoNameAndNoValueIsMarkup) {
  constexpr const char* kHostile = "</td></script><img src=x onerror='alert(1)'>\"&\x1b\xff";
  ObjInv old(nullptr);
  ObjInv now(nullptr);
  const auto fill = [&](ObjInv& document, const KorString& value) {
    document.SetName(kHostile);
    document.Ensure("Computer System")->Ensure("0")->Ensure("Name")->SetValue(kHostile);
    ObjType* type = document.Ensure(kHostile);
    type->Ensure(kHostile, kHostile)->SetUnit(kHostile);
    type->Ensure(kHostile, "")->SetDesc(kHostile);
    type->Ensure(kHostile)->Ensure(kHostile)->SetValue(value);
    type->Ensure("second")->Ensure(kHostile)->SetValue(kHostile);
    AddDisk(document, kHostile, "10", "5");
  };
  fill(old, kHostile);
  fill(now, KorString("<b>") + kHostile);
  const std::string page = PageOfChanges(old, now);
  EXPECT_EQ("", Misnested(page));
  EXPECT_FALSE(Contains(page, "<img"));
  EXPECT_EQ(1U, Count(page, "</script>"));
  EXPECT_TRUE(Contains(page,
                       "title=\"&lt;/td&gt;&lt;/script&gt;&lt;img src=x "
                       "onerror=&#39;alert(1)&#39;&gt;&quot;&amp;\\x1b\xEF\xBF\xBD\""))
      << page;
}

TEST(ReportPage, EqualReportsGiveEqualPages) {
  ObjInv document(nullptr);
  AddDisk(document, "sda1", "100", "50");
  EXPECT_EQ(PageOf(document), PageOf(document));
}

}  // namespace
