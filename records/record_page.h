// Record page: one table of master data. A search form, its results ten a page, an add form, a modify form with a
// guarded Delete button, and the three writes behind them.
#pragma once

#include <string_view>

#include "frame/chain.h"
#include "frame/page_object.h"
#include "records/record_description.h"

namespace surva {

class RecordPage final : public PageObject {
 public:
  RecordPage(PageContext& context, const records::Description& record) : PageObject(context), record_(record) {}

  void WebClass_Start() override;
  void WriteHeaders() override { WriteStaffHeaders(*this, record_.menu); }
  void WriteFooters() override { WriteStaffFooters(*this, record_.menu); }

 private:
  void ShowSearchForm();
  void DeleteRecord(std::string_view id);
  void SaveNewRecord();
  void UpdateRecord(std::string_view id);
  void ShowModifyForm(std::string_view id);
  void ShowAddForm();
  void ListSearchResults();
  void ShowEmptyPage();

  std::string_view RequestedKey() const { return request()(record_.table.key().name); }

  void KeepCriteria();
  void WriteList(const data::Rows& rows, const Value& page_number, bool has_next, bool has_previous);

  // `record` is null on the add form.
  void WriteControls(const data::Row* record);
  void WriteControl(const records::FormControl& control, const data::Row* record);
  void WriteOptions(const records::Choices& choices, data::Connection& db, const Field& chosen);
  void WriteKey(std::string_view id);
  void Assign(data::RowWriter record);
  void ReportSaved();

  const records::Description& record_;
};

}  // namespace surva
