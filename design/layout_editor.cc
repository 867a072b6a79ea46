// One surva as respondents will see it, with a strip of buttons in front of every row; the same without them.
#include "design/create_form.h"
#include "design/page_parts.h"
#include "filling/form_walk.h"
#include "frame/values/numbers.h"
#include "frame/values/text.h"

namespace surva {

using data::Number;

void CreateForm::ShowVersionDesigner(std::string_view version) {
  data::Connection& db = OpenConnection();
  WriteHeaders();
  const data::Rows survas = db.Query({"select * from survaVersion where SurvaVersionId=", Number(version)});
  Write(design::kForm);
  if (session()["SurvaProperties"].Is(1) || request().Filled("CreateEmptySurva") ||
      request().Filled("SaveSurvaProperties") ||
      CompareTexts(request()("SaveSurvaPropertiesButton"), "Save properties changes") == 0) {
    ShowProperties(survas.First(), version);
  } else {
    ShowLayoutEditor(db, version);
  }
}

void CreateForm::ShowLayoutEditor(data::Connection& db, std::string_view version) {
  Write("<input type=hidden name=Version   value=\"", version, "\"><input type=hidden name=SurvaVersion   value=\"",
        version,
        "\"><input type=hidden name=SaveSurvaProperties   value=1>"
        "<TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"2\" cellpadding=\"4\""
        " style=\"font-family: Tahoma; font-size: 8pt\">"
        "<tr><th align=left><Font color=navy>Modify surva layout</Font></th>"
        "<TD align=right bgColor=\"white\"><input type=submit style=\"font-family: Tahoma; font-size: 8pt\""
        " name=AQBBA value=\"surva properties\"></TD></TR>"
        "<tr><td width=100% colspan=2 bgcolor=#6699FF size=1></td></tr></table></form>");

  FormWalk walk(*this, db, version, walk_modes::kLayoutEditor,
                [&](const Field& layout_id, bool is_first, bool is_last) {
                  WriteRowButtons(ToInt16(layout_id.Text()), ToInt16(version), is_first, is_last);
                });
  Write(design::kForm, "<input type=hidden name=Version   value=\"", version,
        "\"><input type=hidden name=SurvaVersion   value=\"", version,
        "\"><TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"0\" cellpadding=\"2\""
        " style=\"font-family: Tahoma; font-size: 8pt\">");
  walk.WriteRows(nullptr);
  const bool has_rows = walk.row_count() > 0;
  Write(std::string_view(has_rows ? "<TR><TD align=left>" : "<TR><TD colspan=2>"),
        "<a href=CreateForm.asp?SurvaVersion=", version,
        "&AddQuestion=-1&AddQuestionStep=1><img border=0 src=images/addnew.gif"
        " alt=\"Add a new question or main group\"></a> &nbsp;</TD>");
  if (has_rows) {
    Write("<TD align=right><input type=submit Name=DeleteQuestion Value=\"Delete selected\""
          " style=\"font-family: Tahoma; font-color:Red; font-size: 8pt\"></TD>");
  }
  Write("</TR></Table></form>");
  WriteFooters();
}

// The picture of a bin is a hint alone: the radio button beside it marks the row that "Delete selected" deletes.
void CreateForm::WriteRowButtons(std::int16_t layout_id, std::int16_t version, bool is_first, bool is_last) {
  Write("<a href=CreateForm.asp?SurvaVersion=", version, "&AddQuestion=", layout_id,
        "&AddQuestionStep=1><img border=0 src=images/addnew.gif"
        " alt=\"Add new question or group above this one\"></a> &nbsp;"
        "<a href=CreateForm.asp?SurvaVersion=",
        version, "&ModifyQuestion=", layout_id,
        "><img border=0 src=images/modify.gif alt=\"Modify this group or question\"></a> &nbsp;&nbsp; &nbsp;"
        "<img border=0 src=images/delete.gif"
        " alt=\"Mark neighbouring option and press delete button to delete that object\">        "
        "<input type=radio"
        " title=\"Select that option and press delete button on the bottom of the page to delete this object \""
        " name=CnfDelQuestion value=",
        layout_id, ">&nbsp;&nbsp; &nbsp;");
  if (!is_first) {
    Write("<a href=CreateForm.asp?SurvaVersion=", version, "&MoveUp=", layout_id,
          "><img border=0 src=images/up.gif alt=\"Move one level up\"></a> &nbsp;&nbsp;");
  }
  if (!is_last) {
    Write("<a href=CreateForm.asp?SurvaVersion=", version, "&MoveDown=", layout_id,
          "><img border=0 src=images/down.gif alt=\"Move one level down\"></a> &nbsp;&nbsp;");
  }
}

namespace {

// A Fault if the row is not on this version.
std::int64_t PlaceOf(data::Connection& db, std::string_view layout_id, std::string_view version) {
  return db
      .Query({"select positionID from SurvaLayout where SurvaVersionId=", Number(version),
              " and SurvaLayoutID=", Number(layout_id)})
      .First()["positionID"]
      .Integer();
}

}  // namespace

data::Connection& CreateForm::HoldLayout(std::string_view version) {
  data::Connection& db = OpenConnection();
  db.Lock("layout " + std::string(version));
  return db;
}

void CreateForm::DeleteLayoutRow(std::string_view version) {
  const std::string_view layout_id = request()("CnfDelQuestion");
  if (!layout_id.empty()) {
    data::Connection& db = HoldLayout(version);
    const std::int64_t freed = PlaceOf(db, layout_id, version);
    db.Execute({"delete from survaLayout where survaLayoutId=", Number(layout_id)});
    db.Execute({"update SurvaLayout set PositionID=PositionID-1 where SurvaVersionID=", Number(version),
                " and PositionID>", Number(freed)});
  }
  session().Set("layout", 1);
  ShowVersionDesigner(version);
}

// The neighbour goes first; both then share a place until the row itself, named by its key, has gone too. Where the
// neighbour's place is a gap, the row goes alone.
void CreateForm::MoveRow(std::string_view layout_id, std::string_view version, int places) {
  data::Connection& db = HoldLayout(version);
  const std::int64_t place = PlaceOf(db, layout_id, version);
  db.Execute({"update SurvaLayout set PositionID=PositionID-", Number(places),
              " where SurvaVersionID=", Number(version), " and PositionID=", Number(place + places)});
  db.Execute({"update SurvaLayout set PositionID=PositionID+", Number(places),
              " where SurvaVersionID=", Number(version), " and SurvaLayoutID=", Number(layout_id)});
  session().Set("layout", 1);
  ShowVersionDesigner(version);
}

void CreateForm::PreviewForm(std::string_view version) {
  data::Connection& db = OpenConnection();
  WriteHeaders();
  FormWalk walk(*this, db, version, walk_modes::kLayoutPreview);
  Write("<BR><TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"0\" cellpadding=\"2\""
        " style=\"font-family: Tahoma; font-size: 8pt\">");
  walk.WriteRows(nullptr);
  Write("</Table>");
  WriteFooters();
}

}  // namespace surva
