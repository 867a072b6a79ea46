// Tables that come and go: what is read out of files, what an import costs, what a workbook may hold.
#include "desk/table_file.h"
#include "desk/table_reader.h"
#include "tests/support/node.h"

namespace surva::desk {
namespace {

using test::Holds;

std::string Cells(std::string_view text) {
  const BroughtTable table = ReadTable(text);
  std::string cells = table.problem;
  for (const auto& line : table.lines) {
    cells += std::to_string(line.number) + ":";
    for (const std::string& cell : line.cells) cells += cell + "|";
  }
  return cells;
}

TEST(TableReader, ReadsWhatSpreadsheetsWrite) {
  EXPECT_EQ(Cells("a,b\r\n1,\"x, \"\"y\"\"\r\nz\"\r\n\r\n 2 ,\n"), "1:a|b|2:1|x, \"y\"\r\nz|5:2||");
  EXPECT_EQ(Cells("a;b,c;d\n1;2;3"), "1:a|b,c|d|2:1|2|3|");
  EXPECT_EQ(Cells("a\tb\r\u00a0 1\u00a0\t\"2\" more"), "1:a|b|2:1|2 more|");
  EXPECT_EQ(Cells("sep=;\r\na,b;c"), "2:a,b|c|");
  EXPECT_EQ(Cells("only\nnames"), "1:only|2:names|");
  EXPECT_EQ(Cells("a,b\n\n1,\"2\n3"), "Line 3 opens a quote that nothing closes.1:a|b|");
  EXPECT_EQ(Cells(" \n ,\n"), "There is no line in it.");
  EXPECT_EQ(ReadTable("a" + std::string(59, ',')).problem, "");
  EXPECT_EQ(Cells(std::string(100, ',')), "Line 1 has more than 60 columns.");
  std::string many;
  for (std::size_t i = 0; i < kMostLines + 2; ++i) many += "a\n";
  EXPECT_EQ(ReadTable(many).problem, "Line 20002 is one too many; bring 20,000 at a time.");
}

TEST(TableReader, KnowsTheLettersOfAFile) {
  const auto text = [](std::string_view bytes) {
    std::string problem;
    bool guessed = false;
    const std::string letters = TextOfFile(bytes, problem, guessed);
    EXPECT_EQ(guessed, bytes.starts_with("G\xe9")) << letters;
    return problem.empty() ? letters : problem.substr(0, 9);
  };
  EXPECT_EQ(text("\xef\xbb\xbfG\xc5\x84"), "G\u0144");
  EXPECT_EQ(text("G\xe9\x80"), "G\u00e9\u20ac");
  EXPECT_EQ(text(std::string_view("\xff\xfeG\0D\x01\x3d\xd8\x00\xde\x00\xd8", 12)), "G\u0144\U0001F600\ufffd");
  EXPECT_EQ(text(std::string_view("\xfe\xff\0G\x01\x44", 6)), "G\u0144");
  EXPECT_EQ(text("PK\x03\x04 and so on"), "This is a");
  EXPECT_EQ(text(std::string_view("a\0b", 3)), "This is n");
}

class Imports : public test::OnSite {
 protected:
  // A class that is brought to an event.
  static std::string Class(int lines) {
    std::string form = "event=51&do=store&text=Last name,First name,E-mail,Company\n";
    for (int i = 0; i < lines; ++i) {
      const std::string number = std::to_string(i);
      form.append("Name ").append(number).append(",First,").append(number).append("@x.example,Cole\n");
    }
    return form;
  }
};
SURVA_ON_BOTH_ENGINES(Imports);

TEST_P(Imports, OfTheSameListAtOnceStoreItOnce) {
  auto other = node.Send(test::RequestFor("/admin/import", "", Class(100)));
  const std::string both = Post("/admin/import", Class(100)).body + other.get().body;
  EXPECT_NE(both.find("100 new, 0 changed, 0 double"), std::string::npos);
  EXPECT_NE(both.find("0 new, 0 changed, 100 double"), std::string::npos);
  EXPECT_EQ(Read({"select count(*), count(distinct PIN) from Participant where ParticipantID>422"}), "100,100");
}

TEST_P(Imports, TakeThreeStatementsALineOfATableThatFits) {
  constexpr int kLines = 1000;
  EXPECT_TRUE(Holds(Post("/admin/import", Class(kLines)), "1000 new"));
  EXPECT_LE(watch.reads + watch.writes, 3 * kLines + 50);
  EXPECT_EQ(Read({"select count(*), count(distinct PIN) from Participant where ParticipantID>422"}), "1000,1000");
  test::Node narrow(database.dsn(), ExampleSite(watch, clock, {.longest_body = 8250}));
  std::string form = "kind=students&do=store&matched=1&column0=LastName&column1=Company&text=A,Cole\n";
  EXPECT_TRUE(Holds(browser.Post(narrow, "/admin/import", form), "All is stored: 1 new"));
  form.append(100, '\n');
  EXPECT_TRUE(Holds(browser.Post(narrow, "/admin/import", form), "The table is too long"));
}

TEST(ExportFile, EndsWhenTheVisitorGoes) {
  wire::BodyWriter writer;
  const auto file =
      TableFile::Make(TableFormat::kXlsx, ',', [&](std::string_view bytes) { return writer.Write(bytes); });
  const Value cell(1);
  const auto write = [&] {
    for (int row = 0; row < 1000; ++row) file->Row({&cell, 1});
  };
  write();
  writer.source().reset();
  EXPECT_THROW(write(), TableFile::NobodyReads);
}

TEST(ExportFile, AWorkbookHoldsAnyText) {
  std::string file;
  const auto workbook = TableFile::Make(TableFormat::kXlsx, ',', [&](std::string_view bytes) {
    file += bytes;
    return true;
  });
  std::string smileys;
  for (int i = 0; i < 17'000; ++i) smileys += "\U0001F600";  // two units each
  const Value cells[] = {Value(std::string(40'000, 'x')), Value(smileys), Value("\x01\x1f \uffff \xc3"), Value("")};
  workbook->Row(cells);
  workbook->Finish();
  EXPECT_EQ(file.substr(0, 2), "PK");
}

}  // namespace
}  // namespace surva::desk
