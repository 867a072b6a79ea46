// Who may have which table, and who sees no average of a few.
#include "desk/table_file.h"
#include "tests/desk/desk.h"
#include "wire/body_stream.h"

namespace surva::desk {
namespace {

class Exports : public Desk {};
SURVA_ON_BOTH_ENGINES(Exports);

TEST_P(Exports, GoToWhomTheyAreFor) {
  const auto status = [this](guard::Role role, const char* what) {
    person.role = role;
    return Get(ShowExport, {{"what", what}, {"as", "xlsx"}}).status;  // the visitor goes before it is made
  };
  EXPECT_EQ(status(guard::Role::kAnalyst, "forms"), 200U);
  EXPECT_EQ(status(guard::Role::kAnalyst, "students"), 403U);
  EXPECT_EQ(status(guard::Role::kPlanner, "students"), 200U);
  EXPECT_EQ(status(guard::Role::kPlanner, "forms"), 403U);
}

TEST_P(Exports, ReportsHideAveragesOfFewAnswersFromAnAnalyst) {
  for (const std::size_t least : {2, 3, 4, 9}) {
    settings.least_answers = least;
    person.role = guard::Role::kAnalyst;
    const auto report = Get(ShowReport, {{"event", "51"}});
    EXPECT_EQ(Holds(report, "<b>3.50</b>"), least == 2) << report.body;
    EXPECT_EQ(Holds(report, "aria-label=\"1: 0, 2: 1, 5: 1\""), least == 2);
    EXPECT_EQ(Holds(report, ">Slides<"), least <= 4);
    EXPECT_EQ(Holds(Get(ShowTrends, {{"training", "31"}}), "too few"), least >= 4);
    person.role = guard::Role::kOwner;
    EXPECT_TRUE(Holds(Get(ShowReport, {{"event", "51"}}), "<b>3.50</b>"));
  }
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
