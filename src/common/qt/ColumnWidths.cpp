#include "common/qt/ColumnWidths.h"

#include <QHeaderView>
#include <QTableView>
#include <algorithm>
#include <string_view>
#include <utility>

#include "common/NumberList.h"

namespace korvane {
namespace {

constexpr int kSmallestColumn = 24;
constexpr int kLargestColumn = 4000;
constexpr int kSaveAfterMilliseconds = 500;

}  // namespace

ColumnWidths::ColumnWidths(QTableView& view, platform::SettingsStore& settings, std::string setting,
                           int columns)
    : view_(view), settings_(settings), setting_(std::move(setting)), columns_(columns) {
  QHeaderView* header = view_.horizontalHeader();
  header->setMinimumSectionSize(kSmallestColumn);
  const std::vector<int> kept = Parse(settings_.GetSetting(platform::kSettingsSection, setting_, {}));
  Set(kept);
  byHand_ = !kept.empty();
  // Dragging a column sends a signal for every pixel.
  save_.setSingleShot(true);
  save_.setInterval(kSaveAfterMilliseconds);
  connect(&save_, &QTimer::timeout, this, &ColumnWidths::Save);
  connect(header, &QHeaderView::sectionResized, this, [this](int column) {
    if (!applying_ && column < columns_) {
      byHand_ = true;
      save_.start();
    }
  });
}

ColumnWidths::~ColumnWidths() {
  if (save_.isActive()) {
    Save();
  }
}

void ColumnWidths::Set(std::span<const int> widths) {
  applying_ = true;
  for (std::size_t column = 0; column < widths.size(); ++column) {
    view_.setColumnWidth(static_cast<int>(column), widths[column]);
  }
  applying_ = false;
}

std::vector<int> ColumnWidths::Parse(std::string_view text) const {
  std::vector<int> widths = ParseNumberList(text).value_or(std::vector<int>());
  if (std::cmp_not_equal(widths.size(), columns_)) {
    return {};
  }
  for (int& width : widths) {
    width = std::clamp(width, kSmallestColumn, kLargestColumn);
  }
  return widths;
}

void ColumnWidths::Save() {
  std::vector<int> widths;
  widths.reserve(static_cast<std::size_t>(columns_));
  for (int column = 0; column < columns_; ++column) {
    widths.push_back(view_.columnWidth(column));
  }
  settings_.SaveSetting(platform::kSettingsSection, setting_, NumberListText(widths));
}

}  // namespace korvane
