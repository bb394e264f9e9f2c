#include "kor/xml_sax_parser.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

#include "kor/input_position.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;

// Writes every event down, each in its own brackets; character data is joined.
class EventLog : public CsXmlSaxParser {
 public:
  std::string events;
  std::string data;
  uint64_t dataBytes = 0;
  std::string stopAt;   // the event that stops the reading
  std::string throwAt;  // the event that throws

 protected:
  void OnElementInit(const char* name) override { Note("init "s + name); }
  void OnElementAttr(const char* name, const char* value) override {
    Note("attr "s + name + "=" + value);
  }
  void OnElementStart(const char* name) override { Note("start "s + name); }
  void OnElementData(const char* text, unsigned long length) override {
    dataBytes += length;
    if (data.size() < 1000) data.append(text, length);
  }
  void OnElementEnd(const char* name) override { Note("end "s + name); }

 private:
  void Note(const std::string& event) {
    if (!data.empty()) events += "(" + data + ")";
    data.clear();
    events += "[" + event + "]";
    if (event == stopAt) Stop("seen enough");
    if (event == throwAt) throw std::runtime_error(event);
  }
};

// The events of a document that is expected to be read to its end.
std::string EventsOf(std::string_view document) {
  const TemporaryFolder folder;
  EventLog parser;
  EXPECT_TRUE(parser.ParseFile(folder.Write("x.xml", document))) << parser.ErrorText().Str();
  return parser.events;
}

// The reason why a document is refused.
std::string RefusalOf(std::string_view document) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  EventLog parser;
  EXPECT_FALSE(parser.ParseFile(folder.Write("x.xml", document)));
  return "line " + std::to_string(parser.ErrorLine()) + ": " + parser.ErrorText().Str();
}

TEST(XmlSaxParser, EventsComeInOrder) {
  EXPECT_EQ(EventsOf("<a x='1' y='2'>text<b/>more</a>"),
            "[init a][attr x=1][attr y=2][start a](text)[init b][start b][end b](more)[end a]");
}

TEST(XmlSaxParser, CommentsInstructionsAndDeclarationsAreNoEvents) {
  EXPECT_EQ(
      EventsOf("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- c --><a><?p i?>x<!-- d --></a>"),
      "[init a][start a](x)[end a]");
}

TEST(XmlSaxParser, EntitiesAndSectionsAreText) {
  EXPECT_EQ(EventsOf("<!DOCTYPE a [<!ENTITY e 'own'>]><a v='&lt;&#65;'>&amp;&e;<![CDATA[<&]]></a>"),
            "[init a][attr v=<A][start a](&own<&)[end a]");
}

TEST(XmlSaxParser, TextOfManyPiecesArrivesWhole) {
  const std::string text(300'000, 'x');
  const TemporaryFolder folder;
  EventLog parser;
  EXPECT_TRUE(parser.ParseFile(folder.Write("x.xml", "<a>" + text + "</a>")));
  EXPECT_EQ(parser.dataBytes, text.size());
}

TEST(XmlSaxParser, OtherEncodingsBecomeUtf8) {
  EXPECT_EQ(EventsOf("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe9</a>"),
            "[init a][start a](\xc3\xa9)[end a]");
  EXPECT_EQ(EventsOf("\xff\xfe<\0a\0>\0\xe9\0<\0/\0a\0>\0"s), "[init a][start a](\xc3\xa9)[end a]");
}

TEST(XmlSaxParser, RefusesWhatItCannotDecode) {
  EXPECT_EQ(RefusalOf("<?xml version='1.0' encoding='x-unheard-of'?><a/>"),
            "line 1: unknown encoding");
  EXPECT_EQ(RefusalOf("<a>\n\xff</a>"), "line 2: not well-formed (invalid token)");
  EXPECT_EQ(RefusalOf("<a>\nx\0y</a>"s), "line 2: not well-formed (invalid token)");
}

// What is read in one encoding can be written in another.
TEST(XmlSaxParser, NamesAreThoseOfUtf8InEveryEncoding) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  const auto isRead = [&](const std::string& encoding, const std::string& root) {
    CsXmlSaxParser parser;
    return parser.ParseFile(
        folder.Write("x.xml", "<?xml version='1.0' encoding='" + encoding + "'?>" + root));
  };
  for (int code = 0x80; code <= 0xff; ++code) {
    const std::string latin(1, static_cast<char>(code));
    const std::string utf8 = {static_cast<char>(0xc0 | code >> 6),
                              static_cast<char>(0x80 | (code & 0x3f))};
    for (const auto& [before, after] :
         {std::pair<std::string, std::string>("<a", "/>"), {"<a ", "=''/>"}, {"<?a", " ?><a/>"}}) {
      EXPECT_EQ(isRead("ISO-8859-1", before + latin + after),
                isRead("UTF-8", before + utf8 + after))
          << code << " in " << before << after;
    }
  }
  EXPECT_TRUE(isRead("ISO-8859-1", "<\xe9/>"));
  EXPECT_FALSE(isRead("ISO-8859-1", "<\xb5/>"));
}

TEST(XmlSaxParser, RefusesWhatIsNotWellFormed) {
  EXPECT_EQ(RefusalOf(""), "line 1: no element found");
  EXPECT_EQ(RefusalOf("<a>\n<b>\n</a>"), "line 3: mismatched tag");
  EXPECT_EQ(RefusalOf("<a>\n\n"), "line 3: no element found");
  EXPECT_EQ(RefusalOf("<a/>\n<b/>"), "line 2: junk after document element");
  EXPECT_EQ(RefusalOf("<a x='1' x='2'/>"), "line 1: duplicate attribute");
  EXPECT_EQ(RefusalOf("<a>&nothing;</a>"), "line 1: undefined entity");
}

TEST(XmlSaxParser, EventsBeforeTheErrorHaveBeenDelivered) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  EventLog parser;
  EXPECT_FALSE(parser.ParseFile(folder.Write("x.xml", "<a><b></b></c>")));
  EXPECT_EQ(parser.events, "[init a][start a][init b][start b][end b]");
}

TEST(XmlSaxParser, ErrorIsLoggedWithFileLineAndReason) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("x.xml", "<a>\n</b>");
  const CapturedLog log(KorFrameworkLog());
  EventLog parser;
  parser.ParseFile(path);
  const CapturedLog::Entry expected{KorLogLevel::kError, path.Str() + ": line 2: mismatched tag",
                                    path.Str(), 2};
  EXPECT_EQ(log.Entries(), std::vector{expected});
}

TEST(XmlSaxParser, FileThatCannotBeReadIsLoggedWithTheReason) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  EventLog parser;
  EXPECT_FALSE(parser.ParseFile(folder.Path("missing")));
  EXPECT_EQ(parser.ErrorText(), "No such file or directory");
  EXPECT_FALSE(parser.ParseFile(folder.Path()));
  EXPECT_FALSE(parser.ParseFile(folder.Path("a\0b"s)));
  EXPECT_EQ(log.Text(), "error: " + folder.Path("missing").Str() + ": No such file or directory\n" +
                            "error: " + folder.Path().Str() + ": Is a directory\n" + "error: " +
                            folder.Path("a\0b"s).Str() + ": No such file or directory\n");
}

TEST(XmlSaxParser, ExternalEntitiesAreNotRead) {
  const TemporaryFolder folder;
  const KorString secret = folder.Write("secret", "secret");
  const std::string document =
      "<!DOCTYPE a [<!ENTITY e SYSTEM 'file://" + secret.Str() + "'>]><a>-&e;-</a>";
  EXPECT_EQ(EventsOf(document), "[init a][start a](--)[end a]");
}

TEST(XmlSaxParser, EntityBombIsDefused) {
  std::string document = "<!DOCTYPE a [<!ENTITY e0 'ha'>";
  for (int i = 1; i <= 40; ++i) {
    const std::string inner = "&e" + std::to_string(i - 1) + ";";
    document.append("<!ENTITY e")
        .append(std::to_string(i))
        .append(" '")
        .append(inner)
        .append(inner);
    document += "'>";
  }
  const TemporaryFolder folder;
  const KorString path = folder.Write("x.xml", document + "]><a>&e40;</a>");
  const CapturedLog log(KorFrameworkLog());
  EventLog parser;
  EXPECT_FALSE(parser.ParseFile(path));
  EXPECT_LT(parser.dataBytes, 16u * 1024 * 1024);
  EXPECT_EQ(parser.ErrorText(),
            "limit on input amplification factor (from DTD and entities) breached");
}

TEST(XmlSaxParser, SizeIsBounded) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("a.xml", "<a>12345</a>");
  const CapturedLog log(KorFrameworkLog());
  CsXmlSaxParser parser;
  parser.LimitSize(12);
  EXPECT_TRUE(parser.ParseFile(path));
  parser.LimitSize(11);
  EXPECT_FALSE(parser.ParseFile(path));
  ASSERT_EQ(log.Entries().size(), 1U);
  EXPECT_EQ(log.Entries()[0].text, path.Str() + ": it is larger than 11 bytes");
}

TEST(XmlSaxParser, SizeOfWhatHasNoSizeIsCounted) {
  const CapturedLog log(KorFrameworkLog());
  CsXmlSaxParser parser;
  parser.LimitSize(0);
  EXPECT_FALSE(parser.ParseFile("/proc/self/status"));
  EXPECT_EQ(parser.ErrorText(), "it is larger than 0 bytes");
}

TEST(XmlSaxParser, FileThatIsLongerThanTheUsualLimitIsNotOpened) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("a.xml", "<a/>");
  std::filesystem::resize_file(path.Str(), kXmlSizeLimit + 1);
  CsXmlSaxParser parser;
  EXPECT_FALSE(parser.ParseFile(path));
  EXPECT_EQ(parser.ErrorText(), "it is larger than 268435456 bytes");
}

TEST(XmlSaxParser, PipeThatAnybodyMayWriteToIsRefusedAndNotWaitedFor) {
  const TemporaryFolder folder;
  const KorString pipe = folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.CStr(), 0600), 0);
  std::filesystem::create_symlink("pipe", folder.Path("link").Str());
  for (const KorString& path : {pipe, folder.Path("link")}) {
    const CapturedLog log(KorFrameworkLog());
    CsXmlSaxParser parser;
    EXPECT_FALSE(parser.ParseFile(path));
    EXPECT_EQ(parser.ErrorText(), "it is not a file");
    EXPECT_EQ(log.Text(), "error: " + path.Str() + ": it is not a file\n");
  }
}

TEST(XmlSaxParser, DeviceIsRefused) {
  CsXmlSaxParser parser;
  EXPECT_FALSE(parser.ParseFile("/dev/null"));
  EXPECT_EQ(parser.ErrorText(), "it is not a file");
}

TEST(XmlSaxParser, PipeOfACommandLineIsRead) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "<a/>", 4), 4);
  close(ends[1]);
  EventLog parser;
  EXPECT_TRUE(parser.ParseFile(KorString("/dev/fd/" + std::to_string(ends[0]))))
      << parser.ErrorText().CStr();
  close(ends[0]);
  EXPECT_EQ(parser.events, "[init a][start a][end a]");
}

TEST(XmlSaxParser, LinkToAFileIsRead) {
  const TemporaryFolder folder;
  folder.Write("a.xml", "<a/>");
  std::filesystem::create_symlink("a.xml", folder.Path("link").Str());
  CsXmlSaxParser parser;
  EXPECT_TRUE(parser.ParseFile(folder.Path("link"))) << parser.ErrorText().CStr();
}

TEST(XmlSaxParser, DepthIsBounded) {
  const auto nested = [](size_t depth) {
    std::string text;
    for (size_t i = 0; i < depth; ++i) text += "<a>";
    for (size_t i = 0; i < depth; ++i) text += "</a>";
    return text;
  };
  const TemporaryFolder folder;
  EventLog parser;
  EXPECT_TRUE(parser.ParseFile(folder.Write("x.xml", nested(1024))));
  EXPECT_EQ(RefusalOf(nested(1025)), "line 1: elements are nested too deeply");
}

TEST(XmlSaxParser, StopEndsTheReadingAtOnce) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("x.xml", "<a>\n<b x='1' y='2'/>t<c/></a>");
  const struct {
    const char* at;
    const char* events;
  } cases[] = {
      {"init b", "[init a][start a](\n)[init b]"},
      {"attr x=1", "[init a][start a](\n)[init b][attr x=1]"},
      {"start b", "[init a][start a](\n)[init b][attr x=1][attr y=2][start b]"},
      {"end b", "[init a][start a](\n)[init b][attr x=1][attr y=2][start b][end b]"},
  };
  for (const auto& stopped : cases) {
    const CapturedLog log(KorFrameworkLog());
    EventLog parser;
    parser.stopAt = stopped.at;
    EXPECT_FALSE(parser.ParseFile(path));
    EXPECT_EQ(parser.events, stopped.events);
    EXPECT_EQ(parser.ErrorText(), "seen enough");
    EXPECT_EQ(parser.ErrorLine(), 2u);
    EXPECT_EQ(log.Text(), "error: " + path.Str() + ": line 2: seen enough\n");
  }
}

TEST(XmlSaxParser, CanReadAgainAfterAFailure) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  EventLog parser;
  parser.stopAt = "start a";
  EXPECT_FALSE(parser.ParseFile(folder.Write("x.xml", "<a/>")));
  parser.stopAt.clear();
  EXPECT_TRUE(parser.ParseFile(folder.Path("x.xml")));
  EXPECT_EQ(parser.ErrorText(), "");
  EXPECT_EQ(parser.ErrorLine(), 0u);
}

TEST(XmlSaxParser, ExceptionOfACallbackReachesTheCaller) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("x.xml", "<a><b/></a>");
  EventLog parser;
  parser.throwAt = "start b";
  EXPECT_THROW(parser.ParseFile(path), std::runtime_error);
  EXPECT_EQ(parser.events, "[init a][start a][init b][start b]");
  EXPECT_EQ(KorInputPosition::Current(), nullptr);
}

// Notes where the reader is at each start and end.
class PositionLog : public CsXmlSaxParser {
 public:
  std::string positions;

 protected:
  void OnElementStart(const char* name) override { Note(name); }
  void OnElementEnd(const char* name) override { Note("/"s + name); }

 private:
  void Note(const std::string& event) {
    const KorInputPosition* position = KorInputPosition::Current();
    ASSERT_NE(position, nullptr);
    positions += position->file.Str() + ":" + std::to_string(position->line) + " " + event + "\n";
  }
};

TEST(XmlSaxParser, CallbacksKnowFileAndLine) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("x.xml", "<a>\n<b/>\n\n</a>\n");
  PositionLog parser;
  EXPECT_TRUE(parser.ParseFile(path));
  const std::string& file = path.Str();
  EXPECT_EQ(parser.positions,
            file + ":1 a\n" + file + ":2 b\n" + file + ":2 /b\n" + file + ":4 /a\n");
  EXPECT_EQ(KorInputPosition::Current(), nullptr);
}

TEST(InputPosition, Nests) {
  KorInputPositionScope outer("outer");
  outer.SetLine(3);
  {
    KorInputPositionScope inner("inner");
    inner.SetLine(7);
    EXPECT_EQ(KorInputPosition::Current()->file, "inner");
    EXPECT_EQ(KorInputPosition::Current()->line, 7u);
  }
  EXPECT_EQ(KorInputPosition::Current()->file, "outer");
  EXPECT_EQ(KorInputPosition::Current()->line, 3u);
}

}  // namespace
