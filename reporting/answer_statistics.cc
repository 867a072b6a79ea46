// How often each answer of a question was given, and the average of those that are numbers.
#include <optional>
#include <string>

#include "reporting/average.h"
#include "reporting/browse.h"

namespace surva {

using data::Row;

namespace {

void WriteAverage(Response& out, const Average& average) {
  const std::optional<double> value = average.Rounded();
  if (!value) return;
  out.Write("<TR><TD><B>&nbsp;&nbsp;&nbsp;Average</B><TD align=right>"
            "<B>",
            Field(*value),
            "&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;</B>"
            "</TD></TR>");
}

}  // namespace

void Browse::Stats(const FormKind& kind) {
  WriteHeadersOf(kind);
  data::Connection& db = OpenConnection();
  const FilledForms forms = Forms(kind);
  Write("</TD><TD width=5>&nbsp;&nbsp;&nbsp;</TD><TD>"
        "<BR>"
        "<table width=90% align=left border=1 cellspacing=0 cellpadding=2>"
        "<TR><TD bgcolor=blue colspan=2><font color=white><B>Number of filled survas: ",
        forms.Count(db), "</B></font></TD></TR>");
  std::string question;
  Average average;
  for (const Row& row : forms.CountAnswers(db)) {
    // Equal phrases that follow each other are one question, also where the version changes between them.
    if (const std::string content = row["Content"].Text(); content != question) {
      WriteAverage(response(), average);
      Write("<TR><TD colspan=2 bgcolor=yellow>", content, "</TD></TR>");
      question = content;
      average = {};
    }
    const std::string answer = row["FieldValue"].Text();
    if (!answer.empty()) {
      average.Add(answer, row["Answers"].Integer());
      Write("<TR><TD>&nbsp;&nbsp;&nbsp;&nbsp;", answer, "</TD>");
    } else {
      Write("<TR><TD>&nbsp;&nbsp;&nbsp;&nbsp;No answer</TD>");
    }
    Write("<TD align=right>", row["Answers"], "&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;</TD></TR>");
  }
  WriteAverage(response(), average);
  Write("</TABLE>");
  WriteFooters();
}

}  // namespace surva
