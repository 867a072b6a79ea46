// What hangs on a question and on its choices, for a question to the designer before he takes them away.
#include <map>

#include "desk/pages.h"
#include "desk/parts.h"
#include "wire/status_page.h"

namespace surva::desk {

using data::Number;
using data::Row;

namespace {

struct Given {
  std::int64_t answers = 0;
  std::int64_t respondents = 0;
};

std::string JsonOf(const Given& given) {
  return "\"answers\":" + std::to_string(given.answers) + ",\"respondents\":" + std::to_string(given.respondents);
}

void Count(const data::Rows& rows, Given& all, std::map<std::int64_t, Given>& choices) {
  for (const Row& row : rows) {
    Given& choice = choices[row["FieldValueID"].Integer()];
    choice.answers += row["Answers"].Integer();
    choice.respondents += row["Respondents"].Integer();
    all.answers += row["Answers"].Integer();
  }
}

}  // namespace

wire::HttpResponse ShowAnswered(Context& context) {
  const auto layout = ReadKey(context.request("layout"));
  if (!layout) return wire::StatusPage(404);
  data::Connection& db = context.connection;
  Given all;
  std::map<std::int64_t, Given> choices;
  Count(
      db.Query({"select FieldValueID, count(*) as Answers, count(*) as Respondents from Mark where FieldValueID in "
                "(select FieldValueID from FieldValue, SurvaLayout where FieldValue.QuestionID=SurvaLayout.QuestionID "
                "and SurvaLayoutID=",
                Number(*layout), ") group by FieldValueID"}),
      all, choices);
  Count(db.Query({"select FieldValueID, count(*) as Answers, count(*) as Respondents from AnonymousMark where "
                  "FieldValueID in (select FieldValueID from FieldValue, SurvaLayout where "
                  "FieldValue.QuestionID=SurvaLayout.QuestionID and SurvaLayoutID=",
                  Number(*layout), ") group by FieldValueID"}),
        all, choices);
  for (const Row& row :
       db.Query({"select (select count(*) from (select distinct StudentID, ScheduleID from Mark where FieldValueID in "
                 "(select FieldValueID from FieldValue, SurvaLayout where FieldValue.QuestionID=SurvaLayout.QuestionID "
                 "and SurvaLayoutID=",
                 Number(*layout),
                 ")) as Named) + (select count(distinct StudentID) from "
                 "AnonymousMark where FieldValueID in (select FieldValueID from FieldValue, SurvaLayout where "
                 "FieldValue.QuestionID=SurvaLayout.QuestionID and SurvaLayoutID=",
                 Number(*layout),
                 ")) as "
                 "Respondents"})) {
    all.respondents = row["Respondents"].Integer();
  }
  std::string json = "{" + JsonOf(all) + ",\"choices\":{";
  for (const auto& [choice, given] : choices) {
    if (!json.ends_with('{')) json += ',';
    json += "\"" + std::to_string(choice) + "\":{" + JsonOf(given) + "}";
  }
  return Json(json + "}}\n");
}

}  // namespace surva::desk
