// A surva's properties: its name, what its respondents meet, and the link to it where it is open to all.
#include "design/create_form.h"
#include "design/page_parts.h"
#include "frame/values/text.h"

namespace surva {

using design::IsOff;
using design::kCaption;
using design::kControl;

namespace {

void WriteFlag(Response& out, std::string_view caption, std::string_view name, const Field& flag) {
  const bool off = IsOff(flag);
  out.Write(kCaption, caption, kControl, "<input type=radio name=", name, " value=0",
            std::string_view(off ? " checked" : ""), ">No&nbsp;&nbsp;<input type=radio name=", name,
            std::string_view(off ? "" : " checked"), " value=-1>Yes</td></TR>");
}

// The text without a part of it, wherever that stands and in whatever letter case.
std::string Without(std::string_view text, std::string_view part) {
  std::string rest;
  while (!text.empty()) {
    if (EqualNames(text.substr(0, part.size()), part)) {
      text.remove_prefix(part.size());
    } else {
      rest += text.front();
      text.remove_prefix(1);
    }
  }
  return rest;
}

}  // namespace

void CreateForm::ShowProperties(const data::Row& surva, std::string_view version) {
  const Field authorisation = surva["RequireAuthorisation"];
  Write("<input type=hidden name=ModifySurvaProperties value=\"", version,
        "\"><input type=hidden name=Version   value=\"", version, "\"><input type=hidden name=SurvaVersion   value=\"",
        version, "\">", design::kFormTable, design::kTitle, "Modify surva properties", design::kTitleEnd, kCaption,
        "surva name", kControl, "<input type=text size=50 maxlength=150 name=SurvaName value=\"", surva["SurvaName"],
        "\"></td></TR>", kCaption, "Thank You page name <i>(leave it blank for default)</i>", kControl,
        "<input type=text size=50 maxlength=150 name=ThankYouPage value=\"", surva["ThankYouPage"], "\"></td></TR>");
  WriteFlag(response(), "surva requires authorization <I>(PIN number)</I>", "RequireAuthorisation", authorisation);
  if (IsOff(authorisation)) WritePublicLink(surva["SurvaVersionID"]);
  WriteFlag(response(), "surva requires personal details preview", "RequirePersonalDataPreview",
            surva["RequirePersonalDataPreview"]);
  WriteFlag(response(), "Display menu", "DisplayMenu", surva["DisplayMenu"]);
  // The form is left open.
  Write(design::kButtonRow,
        "<input type=submit name=AQAAA value=\"List of survas\"></TD>"
        "<TD align=right bgcolor=#c0c0c0>"
        "<input type=submit name=SaveSurvaPropertiesButton Value=\"Save properties changes\">"
        "<input type=submit name=SaveSurvaPropertiesButton Value=\"Layout definition\"></td></TR></table>");
  WriteFooters();
}

void CreateForm::WritePublicLink(const Field& version) {
  const std::string folder = Without(request().ServerVariable("URL"), "admin/CreateForm.asp");
  const std::string_view server = request().ServerVariable("SERVER_NAME");
  const std::string_view scheme = EqualNames(request().ServerVariable("HTTPS"), "ON") ? "https://" : "http://";
  // The broken tag behind the caption is the page's own.
  Write("<TR><TD bgColor=\"black\"><font face=tahoma size=2 color=white>"
        "Link to surva <I>(without authorization required)</I></font</TD>"
        "<TD bgcolor=#c0c0c0><font face=tahoma size=2 color=black><A target=_prev href=\"",
        scheme, server, folder, "surva.asp?version=", version, "\">", scheme, server, folder,
        "surva.asp?version=", version, "</A></FONT></TD></TR>");
}

void CreateForm::SaveVersionProperties(std::string_view version) {
  data::Connection& db = OpenConnection();
  db.Edit(data::tables::kSurvaVersion, data::Number(version))
      .Set("SurvaName", request()("SurvaName"))
      .Set("RequireAuthorisation", request()("RequireAuthorisation"))
      .Set("RequirePersonalDataPreview", request()("RequirePersonalDataPreview"))
      .Set("ThankYouPage", request()("ThankYouPage"))
      .Set("DisplayMenu", request()("DisplayMenu"))
      .Update();
  ShowVersionDesigner(version);
}

}  // namespace surva
