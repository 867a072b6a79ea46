// Tables that come and go: what is read out of files, what an import costs, what a workbook may hold.
#include "desk/table_file.h"
#include "desk/table_reader.h"
#include "tests/support/node.h"
#include "tests/support/recorded.h"

namespace surva::desk {
namespace {

using test::Holds;

TEST(TableReader, Cases) {
  const auto table = [](const std::string& text) {
    const BroughtTable read = ReadTable(text);
    std::string cells = read.problem;
    for (const auto& line : read.lines) {
      cells += std::to_string(line.number) + ":";
      for (const std::string& cell : line.cells) cells += cell + "|";
      if (cells.size() > 200) break;
    }
    return cells;
  };
  const auto letters = [](const std::string& bytes) {
    std::string problem;
    bool guessed = false;
    const std::string text = TextOfFile(bytes, problem, guessed);
    return (problem.empty() ? text : problem) + (guessed ? ", guessed" : "");
  };
  test::PlayCases("tests/desk/tables.cases", {.each = {{"table", table}, {"letters", letters}}});
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
  test::Node second(database.dsn(), ExampleSite(watch, clock));
  auto other = second.Send(test::RequestFor("/admin/import", "", Class(100)));
  std::string both = Post("/admin/import", Class(100)).body;
  both += other.get().body;
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
