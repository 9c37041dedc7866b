#include "reports/frmSetReport.h"

#include <QDateEdit>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimeEdit>

#include "common/qt/DialogButtons.h"
#include "common/qt/QtText.h"
#include "reports/TimePickers.h"
#include "ui_frmSetReport.h"

namespace korvane::reports {
namespace {

QDate DateOf(const store::LocalDateTime& moment) {
  return {moment.Year, moment.Month, moment.Day};
}

QTime TimeOf(const store::LocalDateTime& moment) {
  return {moment.Hour, moment.Minute, moment.Second};
}

store::LocalDateTime Picked(const QDateEdit& date, const QTimeEdit& time) {
  return {.Year = date.date().year(),
          .Month = date.date().month(),
          .Day = date.date().day(),
          .Hour = time.time().hour(),
          .Minute = time.time().minute(),
          .Second = time.time().second()};
}

}  // namespace

frmSetReport::frmSetReport(params::ReportParameters& parameters, params::ParametersLists& lists,
                           Prompts& prompts, platform::Clock& clock, std::int32_t timeZoneBias,
                           QWidget* parent)
    : QDialog(parent),
      ui_(std::make_unique<Ui::frmSetReport>()),
      form_(parameters.Window, lists, prompts, params::kReportCaptions),
      range_(parameters, clock, timeZoneBias) {
  ui_->setupUi(this);
  setWindowTitle(ToQString(form_.Controls().FormCaption));
  ui_->freParameters->SetForm(form_);
  ui_->freTimeRange->setTitle(ToQString(range_.Controls().FrameCaption));
  ui_->lblFrom->setText(ToQString(range_.Controls().lblFrom));
  ui_->lblTo->setText(ToQString(range_.Controls().lblTo));
  FillPickers();

  QPushButton* ok = AddOkAndCancel(*ui_->buttons, tr("&Cancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, [this] {
    range_.Ok();
    form_.Ok();
    accept();
  });
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  if (form_.ReadOnly()) {
    ok->setFocus();
  }
}

frmSetReport::~frmSetReport() = default;

void frmSetReport::FillPickers() {
  const params::TimeRangeControls& controls = range_.Controls();
  for (QDateEdit* date : {ui_->DTPFromDate, ui_->DTPToDate}) {
    date->setVisible(controls.PickersShown);
    SetUpPicker(*date);
    date->setDateRange(DateOf(range_.Earliest()), DateOf(range_.Latest()));
  }
  for (QTimeEdit* time : {ui_->DTPFromTime, ui_->DTPToTime}) {
    time->setVisible(controls.PickersShown);
    SetUpPicker(*time);
  }
  ui_->DTPFromDate->setDate(DateOf(controls.From));
  ui_->DTPFromTime->setTime(TimeOf(controls.From));
  ui_->DTPToDate->setDate(DateOf(controls.To));
  ui_->DTPToTime->setTime(TimeOf(controls.To));
  if (controls.PickersShown) {
    LayOutPickers();
  }
  ShowRange();

  const auto from = [this] {
    range_.PickFrom(Picked(*ui_->DTPFromDate, *ui_->DTPFromTime));
    ShowRange();
  };
  const auto to = [this] {
    range_.PickTo(Picked(*ui_->DTPToDate, *ui_->DTPToTime));
    ShowRange();
  };
  connect(ui_->DTPFromDate, &QDateEdit::dateChanged, this, from);
  connect(ui_->DTPFromTime, &QTimeEdit::timeChanged, this, from);
  connect(ui_->DTPToDate, &QDateEdit::dateChanged, this, to);
  connect(ui_->DTPToTime, &QTimeEdit::timeChanged, this, to);
}

void frmSetReport::LayOutPickers() {
  // They begin where the fields of the other frame do.
  ui_->rows->activate();
  const int left = ui_->freTimeRange->contentsMargins().left() + ui_->range->contentsMargins().left() +
                   ui_->range->spacing();
  ui_->lblFrom->setMinimumWidth(ui_->freParameters->FieldsLeft() - left);
}

void frmSetReport::ShowRange() {
  ui_->lblReversed->setVisible(range_.Controls().ReversedShown);
}

}  // namespace korvane::reports
