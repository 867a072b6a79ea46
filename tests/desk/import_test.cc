#include <future>

#include "desk/table_reader.h"
#include "tests/desk/desk.h"
#include "tests/support/watched_engine.h"

namespace surva::desk {
namespace {

using namespace data::tables;

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

class Imports : public Desk {
 protected:
  Imports() {
    seed.Participant(seed.Surva({.rows = {}}), "1");  // Company 2 "Ames & Sons", Student 5, Schedule 7
    Write({"update Student set FirstName='J\u00fcrgen', LastName='Nov\u00e1k', email='j@x.example', Phone='1'"});
  }
  // Every line's state, and why.
  std::string Look(const std::string& kind, const std::string& text) {
    const std::string page = Post(ShowImport, {{"kind", kind}, {"text", text}}).body;
    std::string lines;
    for (std::size_t at = page.find("<h2>Line by line");
         (at = page.find("<tr><td class=\"number\">", at)) != std::string::npos;) {
      const std::size_t end = page.find("</tr>", at);
      const std::string row = page.substr(at, end - at);
      std::string plain;
      bool tag = false;
      for (const char c : row) {
        if (c == '<') plain += tag || plain.empty() || plain.ends_with('|') ? "" : "|";
        if (c == '<') tag = true;
        if (!tag) plain += c;
        if (c == '>') tag = false;
      }
      lines += plain + "\n";
      at = end;
    }
    return lines;
  }
};
SURVA_ON_BOTH_ENGINES(Imports);

TEST_P(Imports, TellWhatEachLineWouldDo) {
  EXPECT_EQ(Look("students", "Surname,First name,E-mail,Company,Phone\n"
                             "NOV\u00c1K,J\u00fcrgen,J@x.example,ames & sons,1\n"
                             "Nov\u00e1k,J\u00fcrgen,j@x.example,Ames & Sons,'+48 2\n"
                             "<b>Gda&#324;ski,Jan,,Ames & Sons,\n"
                             "Nobody,,,No such company,\n"
                             "=cmd(),A,,Ames & Sons,\n"
                             "Mail,A,not one,Ames & Sons,\n"
                             ",A,,Ames & Sons,\n" +
                                 std::string(61, 'x') +
                                 ",A,,Ames & Sons,\n"
                                 "A,B,c@d.example,Ames & Sons,1,2\n"),
            "2|changed|J\u00fcrgen NOV\u00c1K|Last name, E-mail|\n"
            "3|double|J\u00fcrgen Nov\u00e1k|the same as line 2|\n"
            "4|new|Jan &lt;b&gt;Gda\u0144ski|\n"
            "5|wrong| Nobody|no company has this name|\n"
            "6|wrong|A =cmd()|Last name begins like a formula|\n"
            "7|wrong|A Mail|&quot;not one&quot; is no e-mail address|\n"
            "8|wrong|A |Last name is missing|\n"
            "9|wrong|A " +
                std::string(61, 'x') +
                "|Last name is longer than 60 characters|\n"
                "10|wrong| |has more cells than the first line|\n");
  EXPECT_EQ(
      Look("students", "name\tgiven name\temail\tfirm\tphone\nNov\u00e1k\tJ\u00fcrgen\tj@x.example\tAmes & Sons\t2\n"),
      "2|changed|J\u00fcrgen Nov\u00e1k|Phone|\n");
}

TEST_P(Imports, StoreAllOrNothing) {
  const NameValues half = {
      {"kind", "companies"}, {"text", "Company,Mail\nNew one,a@b.example\nOther,bad\n"}, {"do", "store"}};
  EXPECT_TRUE(Holds(Post(ShowImport, half), "Nothing can be stored while a line is wrong"));
  EXPECT_EQ(Read({"select count(*) from Company"}), "1");
  const NameValues text = {{"kind", "companies"}, {"text", "Name;City\nO;Gda&#324;sk\names & sons;X"}, {"do", "store"}};
  EXPECT_TRUE(Holds(Post(ShowImport, text), "All is stored: 1 new, 1 changed, 0 double, 0 wrong."));
  EXPECT_EQ(Read({"select CompanyName, City from Company order by CompanyID"}), "ames & sons,X O,Gda&#324;sk");
  EXPECT_TRUE(Holds(Post(ShowImport, text), "All is stored: 0 new, 0 changed, 2 double, 0 wrong."));
}

TEST_P(Imports, AreUndoneByALineThatFails) {
  test::Watch watch;
  data::Database watched(database.dsn(), test::WatchedEngine::Around(watch));
  opened = &watched;
  std::string text = "Last name,Company\n";
  for (int i = 0; i < 40; ++i) text += "Name " + std::to_string(i) + ",Ames & Sons\n";
  watch.fail_write = 31;
  EXPECT_THROW(Post(ShowImport, {{"event", "7"}, {"do", "store"}, {"text", text}}), Fault);
  EXPECT_EQ(watch.fail_write, 0);
  EXPECT_EQ(Read({"select (select count(*) from Student), (select count(*) from Participant)"}), "1,1");
}

TEST_P(Imports, OfTheSameListAtOnceStoreItOnce) {
  std::string text = "Last name,Company\n";
  for (int i = 0; i < 100; ++i) text += "Name " + std::to_string(i) + ",Ames & Sons\n";
  http.method = wire::HttpRequest::Method::kPost;
  const auto store = [&] { return Run(ShowImport, {}, {{"event", "7"}, {"do", "store"}, {"text", text}}, {}).body; };
  auto other = std::async(std::launch::async, store);
  const std::string both = store() + other.get();
  EXPECT_NE(both.find("100 new, 0 changed, 0 double"), std::string::npos);
  EXPECT_NE(both.find("0 new, 0 changed, 100 double"), std::string::npos);
  EXPECT_EQ(Read({"select count(*), count(distinct PIN) from Participant"}), "101,101");
}

TEST_P(Imports, WantEachColumnOnceAndATableThatFits) {
  NameValues form = {{"kind", "students"},         {"do", "store"},         {"matched", "1"},
                     {"column0", "LastName"},      {"column1", "LastName"}, {"column2", "Company"},
                     {"text", "A,B,Ames & Sons\n"}};
  EXPECT_TRUE(Holds(Post(ShowImport, form), "Last name is in two columns."));
  form[3].second = form[4].second = "";
  EXPECT_TRUE(Holds(Post(ShowImport, form), "No column is the Last name."));
  form[3].second = "LastName";
  settings.longest_body = 8250;
  EXPECT_TRUE(Holds(Post(ShowImport, form), "All is stored: 1 new"));
  form.back().second.append(100, '\n');
  EXPECT_TRUE(Holds(Post(ShowImport, form), "The table is too long"));
}

TEST_P(Imports, EnrolWithThePinsOfTheEnrolmentPage) {
  const NameValues list = {{"event", "7"},
                           {"do", "store"},
                           {"text", "Last name,First name,E-mail,Company\nNov\u00e1k,J\u00fcrgen,j@x.example,\n"
                                    "New,One,n@x.example,Ames & Sons\n"}};
  const auto done = Post(ShowImport, list);
  EXPECT_TRUE(Holds(done, "All is stored: 1 new, 0 changed, 1 double, 0 wrong.")) << done.body;
  // 13:05:09: 9 * 13 + 5, then 0, then the student.
  EXPECT_EQ(Read({"select ScheduleID, StudentID, PIN from Participant order by ParticipantID"}), "7,5,1 7,6,12206");
  // The next student's is taken: a second later it is 10 * 13 + 5.
  Write({"update Participant set PIN='12207' where StudentID=5"});
  Post(ShowImport, {{"event", "7"}, {"do", "store"}, {"text", "Name,Company\nThird,Ames & Sons\n"}});
  EXPECT_EQ(Read({"select PIN from Participant where StudentID=7"}), "13507");
  EXPECT_TRUE(Holds(Post(ShowImport, {{"event", "7"}, {"text", "Name\nStranger\n"}}), "needs a company"));
  EXPECT_EQ(Post(ShowImport, {{"event", "9"}, {"text", "Name\nX\n"}}).status, 404U);
  EXPECT_EQ(Post(ShowImport, {{"kind", "students"}}, {{"file", "x.xlsx", "PK\x03\x04"}}).status, 400U);
}

TEST_P(Imports, TakeThreeStatementsALine) {
  test::Watch watch;
  data::Database watched(database.dsn(), test::WatchedEngine::Around(watch));
  opened = &watched;
  constexpr int kLines = 1000;
  std::string text = "Last name,First name,E-mail,Company\n";
  for (int i = 0; i < kLines; ++i) {
    const std::string number = std::to_string(i);
    text += "Name " + number + ",First," + number + "@x.example,Ames & Sons\n";
  }
  EXPECT_TRUE(Holds(Post(ShowImport, {{"event", "7"}, {"do", "store"}, {"text", text}}), "1000 new"));
  EXPECT_LE(watch.reads + watch.writes, 3 * kLines + 50);
  EXPECT_EQ(Read({"select count(*), count(distinct PIN) from Participant"}), "1001,1001");
}

}  // namespace
}  // namespace surva::desk
