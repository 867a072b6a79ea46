// FormWalk: how a stored surva becomes the rows of a form. One walk over the layout in the order of the places, with
// a source of answers; it reads a form in a constant number of statements, however many questions it has.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "filling/stored_answers.h"
#include "frame/data/connection.h"
#include "frame/page_object.h"

namespace surva {

// The choices of all questions of a surva, each question's in the order of their keys. Their texts are read only where
// they are shown.
class FormChoices {
 public:
  FormChoices(data::Connection& connection, std::string_view surva) : connection_(connection), surva_(surva) {}

  // Calls `each` with every choice's row: FieldValueID, FieldValue.
  template <class Each>
  void ForEach(std::int64_t question, Each each) {
    Walk(WithTexts(), question, each);
  }
  // The same with FieldValueID alone.
  template <class Each>
  void ForEachKey(std::int64_t question, Each each) {
    Walk(Keys(), question, each);
  }

  // Whether a choice of this key is among them.
  bool Holds(std::int64_t field_value);

 private:
  const data::Rows& Keys();
  const data::Rows& WithTexts();

  // The rows stand in the order of their questions.
  template <class Each>
  static void Walk(const data::Rows& rows, std::int64_t question, Each each) {
    std::size_t at = 0;
    for (std::size_t end = rows.size(); at < end;) {
      const std::size_t middle = (at + end) / 2;
      if (rows[middle]["QuestionID"].Integer() < question) {
        at = middle + 1;
      } else {
        end = middle;
      }
    }
    for (; at < rows.size() && rows[at]["QuestionID"].Integer() == question; ++at) each(rows[at]);
  }

  data::Connection& connection_;
  std::string_view surva_;
  std::optional<data::Rows> keys_;
  std::optional<data::Rows> rows_;
  std::vector<std::int64_t> sorted_;  // keys
};

// What a text question shows whose answer is not stored at all.
enum class MissingText { kFails, kShowsEmpty };

// What differs between the places where a surva is drawn.
struct WalkMode {
  std::string_view label_cell;  // opens the row of a label
  // Whether the controls are those from which answers are stored: choices go by their keys, and the surva must stand.
  // Otherwise choices go by their texts, and rows that a deleted surva left behind are drawn too.
  bool takes_answers;
};
namespace walk_modes {
extern const WalkMode kForm, kLayoutEditor, kLayoutPreview;
}  // namespace walk_modes

// Writes what stands in front of a row's text, given the row's SurvaLayoutID.
using RowStrip = std::function<void(const Field& layout_id, bool is_first, bool is_last)>;

class FormWalk {
 public:
  // `surva` goes into the statements as it is, and must outlive the walk.
  FormWalk(PageObject& page, data::Connection& connection, std::string_view surva,
           const WalkMode& mode = walk_modes::kForm, RowStrip strip = {});

  std::size_t row_count() const { return stands_ ? layout_.size() : 0; }

  // DisplayMenu and ThankYouPage of the surva, where the mode takes answers. A surva without layout rows, or without
  // its version, has none: a Fault.
  data::Row Version() const;

  // The layout, also where the version is gone: SurvaLayoutID, QuestionID, QuestionType; and the choices on it.
  const data::Rows& layout() const { return layout_; }
  FormChoices& choices() { return choices_; }

  // Writes the rows of the form, blank if there are no `answers`. At the first required question without an answer,
  // unless Session("NotAnswered") says that there was one, an alert is written and the key set to 1.
  void WriteRows(StoredAnswers* answers, MissingText missing = MissingText::kFails);
  // Whether WriteRows would find every required question answered, and nothing to fail at.
  bool IsAnswered(StoredAnswers& answers) const;

 private:
  struct Question;
  void WriteStrip(const Question& question);
  void WriteRowHead(const Question& question);
  void WriteControl(const Question& question, StoredAnswers* answers, std::string_view answer);
  void WriteChoiceTexts(const Question& question);
  void WarnOnce();

  PageObject& page_;
  Response& out_;
  const WalkMode& mode_;
  RowStrip strip_;
  FormChoices choices_;
  data::Rows layout_;
  bool stands_;  // is drawn at all
  std::int64_t number_ = 0;
};

}  // namespace surva
