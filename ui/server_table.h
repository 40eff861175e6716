#pragma once

#include <QCheckBox>
#include <QGroupBox>
#include <QLineEdit>
#include <array>
#include <cstdint>
#include <deque>
#include <functional>

#include "settings/server_list.h"
#include "settings/server_table_view.h"
#include "ui/parts/picture_box.h"
#include "ui/parts/refresh_timer.h"

namespace quenvar {

/// The row whose address or description cell the user is in; -1 for none. A refresh leaves the texts of that row alone.
extern std::int16_t FocusRow;

/// A cell of the table that holds text.
class TableCell : public QLineEdit {
 public:
  explicit TableCell(QWidget* table);

  /// From its beginning, unless the user is in it.
  void ShowText(const QString& text);

  std::function<void()> entered;
  /// A key is about to move the focus to the next control.
  std::function<void()> goesOn;
  /// The focus went to another control of the window. Leaving the window or opening a menu does not count.
  std::function<void()> left;
  std::function<void()> escaped;

 protected:
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  bool focusNextPrevChild(bool next) override;
  void keyPressEvent(QKeyEvent* event) override;
};

/// The table of name servers, in the frame "Name Server: ".
class ServerTable : public QGroupBox, public ServerTableView {
 public:
  /// `turnToServerPage` brings the page of the table on show.
  ServerTable(QWidget* page, std::function<void()> turnToServerPage);

  void MakeTabelle() override;
  /// Soon, and only while the table can be seen: the list changes with every first answer.
  void RefreshRows() override;
  void SetAddressCell(int row, const std::string& text) override;
  void SetDescriptionCell(int row, const std::string& text) override;
  void SetCheckBox(int row, bool ticked) override;
  void ShowRowEnabled(int row, bool enabled) override;
  void ShowAnswering(int row) override;
  void TurnToServerPage() override { turnToServerPage_(); }
  void FocusAddressCell(int row) override;
  void SelectAddressText(int row) override;

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  template <class Control>
  using Column = std::array<Control*, kServerRows>;

  void PlaceRow(int row, int y);
  void AddCheckBox(int row, int y);
  void AddAddressCell(int row, int y);
  void AddDescriptionCell(int row, int y);
  void AddShareCell(int row, int y);
  void AddIndicator(int row, int y);
  void ShowRows();
  void ShowRow(int row);
  void ShowTexts(int row);
  void ShowDescriptionColor(int row);
  void ShowIndicator(int row);
  void OpenDescription(int row);
  void EndAddressEdit(int row);
  void CommitEndedEdits();

  std::function<void()> turnToServerPage_;
  Column<QCheckBox> Check{};
  Column<TableCell> Text{};
  Column<TableCell> Desc{};
  Column<QLineEdit> Proz{};
  Column<PictureBox> CheckI{};
  const QIcon okay_;
  const QIcon Sleeping_;
  // Rows whose address cell was left and is still to be looked at.
  std::deque<int> endedEdits_;
  bool committing_ = false;
  RefreshTimer refresh_;
};

}  // namespace quenvar
