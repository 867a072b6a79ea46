#include <future>

#include "desk/table_reader.h"
#include "tests/desk/desk.h"
#include "tests/support/watched_engine.h"

namespace surva::desk {
namespace {

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
  EXPECT_EQ(Cells("a\tb\r1\t\"2\" more"), "1:a|b|2:1|2 more|");
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

class Imports : public Desk {};
SURVA_ON_BOTH_ENGINES(Imports);

TEST_P(Imports, GiveNoPinThatLeadsToSomebodyElse) {
  // That of the first second is taken: 9 * 13 + 5, then 0, then the student. A second later it is 10 * 13 + 5.
  Write({"update Participant set PIN='1220226' where ParticipantID=401"});
  Post(ShowImport, {{"event", "54"}, {"do", "store"}, {"text", "Name,Company\nNew,Cole\n"}});
  EXPECT_EQ(Read({"select PIN from Participant where StudentID=226"}), "1350226");
}

TEST_P(Imports, AreUndoneByALineThatFails) {
  test::Watch watch;
  data::Database watched(database.dsn(), test::WatchedEngine::Around(watch));
  opened = &watched;
  std::string text = "Last name,Company\n";
  for (int i = 0; i < 40; ++i) text += "Name " + std::to_string(i) + ",Cole\n";
  watch.fail_write = 31;
  EXPECT_THROW(Post(ShowImport, {{"event", "51"}, {"do", "store"}, {"text", text}}), Fault);
  EXPECT_EQ(watch.fail_write, 0);
  EXPECT_EQ(Read({"select max(StudentID), (select max(ParticipantID) from Participant) from Student"}), "225,422");
}

TEST_P(Imports, OfTheSameListAtOnceStoreItOnce) {
  std::string text = "Last name,Company\n";
  for (int i = 0; i < 100; ++i) text += "Name " + std::to_string(i) + ",Cole\n";
  http.method = wire::HttpRequest::Method::kPost;
  const auto store = [&] { return Run(ShowImport, {}, {{"event", "51"}, {"do", "store"}, {"text", text}}, {}).body; };
  auto other = std::async(std::launch::async, store);
  const std::string both = store() + other.get();
  EXPECT_NE(both.find("100 new, 0 changed, 0 double"), std::string::npos);
  EXPECT_NE(both.find("0 new, 0 changed, 100 double"), std::string::npos);
  EXPECT_EQ(Read({"select count(*), count(distinct PIN) from Participant where ParticipantID>422"}), "100,100");
}

TEST_P(Imports, WantEachColumnOnceAndATableThatFits) {
  NameValues form = {{"kind", "students"},    {"do", "store"},        {"matched", "1"},      {"column0", "LastName"},
                     {"column1", "LastName"}, {"column2", "Company"}, {"text", "A,B,Cole\n"}};
  EXPECT_TRUE(Holds(Post(ShowImport, form), "Last name is in two columns."));
  form[3].second = form[4].second = "";
  EXPECT_TRUE(Holds(Post(ShowImport, form), "No column is the Last name."));
  form[3].second = "LastName";
  settings.longest_body = 8250;
  EXPECT_TRUE(Holds(Post(ShowImport, form), "All is stored: 1 new"));
  form.back().second.append(100, '\n');
  EXPECT_TRUE(Holds(Post(ShowImport, form), "The table is too long"));
}

TEST_P(Imports, TakeThreeStatementsALine) {
  test::Watch watch;
  data::Database watched(database.dsn(), test::WatchedEngine::Around(watch));
  opened = &watched;
  constexpr int kLines = 1000;
  std::string text = "Last name,First name,E-mail,Company\n";
  for (int i = 0; i < kLines; ++i) {
    const std::string number = std::to_string(i);
    text += "Name " + number + ",First," + number + "@x.example,Cole\n";
  }
  EXPECT_TRUE(Holds(Post(ShowImport, {{"event", "51"}, {"do", "store"}, {"text", text}}), "1000 new"));
  EXPECT_LE(watch.reads + watch.writes, 3 * kLines + 50);
  EXPECT_EQ(Read({"select count(*), count(distinct PIN) from Participant where ParticipantID>422"}), "1000,1000");
}

}  // namespace
}  // namespace surva::desk
