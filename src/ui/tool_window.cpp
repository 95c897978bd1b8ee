#include "ui/tool_window.h"

#include <QApplication>
#include <QCheckBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QListWidget>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStringList>
#include <QTimer>
#include <QVBoxLayout>

#include "core/error.h"
#include "render/project.h"
#include "ui/frame_view.h"
#include "ui/progress_window.h"
#include "ui/timeline_widget.h"
#include "ui/widgets.h"

namespace tessfx {
namespace {

QColor Packed(int32_t c) { return QColor(PackedRed(c), PackedGreen(c), PackedBlue(c)); }

// Pointer 99 of the colour-picking effects: a crosshair with an open centre, so that the
// picked pixel itself stays visible.
QCursor PickerCursor() {
  QPixmap pm(32, 32);
  pm.fill(Qt::transparent);
  QPainter p(&pm);
  for (const auto& [colour, width] : {std::pair{QColor(255, 255, 255), 3}, std::pair{QColor(0, 0, 0), 1}}) {
    p.setPen(QPen(colour, width));
    p.drawLine(16, 2, 16, 12);
    p.drawLine(16, 20, 16, 30);
    p.drawLine(2, 16, 12, 16);
    p.drawLine(20, 16, 30, 16);
    p.drawEllipse(QPoint(16, 16), 5, 5);
  }
  p.end();
  return QCursor(pm, 16, 16);
}

// Geometry of the panel, in pixels of the canvas below the menu bar. The slider rows are
// 20 pixels apart with slider 2 at 176, the row the sequence button is placed on. The panel
// model places that button at the sliders' left edge as 262; the list here is wider than
// that layout had room for, so everything right of it sits kListExtra further right.
constexpr int kListWidth = 196, kListExtra = kListWidth - 150;
constexpr int kModelSliderLeft = 262, kSliderLeft = kModelSliderLeft + kListExtra;
constexpr int kSliderTop = 156, kRowStep = 20, kSliderWidth = 200;
constexpr int kCaptionLeft = 166 + kListExtra, kValueLeft = 466 + kListExtra;
constexpr int kCanvasWidth = 520 + kListExtra, kCanvasHeight = 470;

}  // namespace

QString QtFileFilter(const std::string& filter) {
  const QStringList parts = QString::fromStdString(filter).split('|');
  QStringList out;
  for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
    QString label = parts[i];
    // "bmp(*.bmp)" already names its pattern; Qt reads the last parenthesised part.
    if (label.contains('(')) label = label.left(label.indexOf('(')).trimmed();
    out << QStringLiteral("%1 (%2)").arg(label, QString(parts[i + 1]).replace(';', ' '));
  }
  if (out.isEmpty()) out << QStringLiteral("All files (*)");
  return out.join(QStringLiteral(";;"));
}

ToolWindow::ToolWindow(SharedState& state, QWidget* parent) : QWidget(parent), state_(state) {
  setObjectName("Form1");
  setWindowTitle("Timeline editor");
  editor_ = std::make_unique<Editor>(state_, *this);
  swap_menu_ = std::make_unique<SwapSourceMenu>(state_.image().external_swap, *this, *this);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  auto* bar = new QMenuBar(this);
  bar->setObjectName("Form1Menu");
  bar->setNativeMenuBar(false);
  layout->setMenuBar(bar);
  canvas_ = new QWidget(this);
  canvas_->setObjectName("Form1Canvas");
  canvas_->setFixedSize(kCanvasWidth, kCanvasHeight);
  canvas_->setAutoFillBackground(true);
  layout->addWidget(canvas_);
  layout->addStretch(1);

  BuildControls(canvas_);
  BuildMenus(bar);
  BuildShortcuts();
  PrefsCallback();
  RefreshPanel();
  connect(qApp, &QCoreApplication::aboutToQuit, this, &ToolWindow::SaveWindowPlacement);
}

ToolWindow::~ToolWindow() = default;

void ToolWindow::BuildControls(QWidget* canvas) {
  list_ = new QListWidget(canvas);
  list_->setObjectName("List1");
  list_->setGeometry(8, 8, kListWidth, 330);
  for (const std::string& row : editor_->panel().List1()) list_->addItem(QString::fromStdString(row));
  list_->setSelectionMode(QAbstractItemView::SingleSelection);
  // Selection, not the current row: focusing the list makes a row current without
  // choosing it, and the editor starts with nothing chosen.
  connect(list_, &QListWidget::itemSelectionChanged, this, [this] {
    const QList<QListWidgetItem*> chosen = list_->selectedItems();
    if (chosen.isEmpty()) return;
    const int row = list_->row(chosen.front());
    Run([&] { editor_->panel().SetListIndex(row); });
  });

  picture2_ = new FrameView(canvas);
  picture2_->setObjectName("Picture2");
  picture2_->setGeometry(kCaptionLeft, 8, kCanvasWidth - 8 - kCaptionLeft, 140);
  picture2_->installEventFilter(this);

  for (int n = 0; n < 13; ++n) {
    labels_[n] = new QLabel(canvas);
    labels_[n]->setObjectName(QStringLiteral("Label%1").arg(n + 1));
  }
  for (int n = 0; n < 6; ++n) {
    const int top = kSliderTop + n * kRowStep;
    labels_[n]->setGeometry(kCaptionLeft, top, kSliderLeft - kCaptionLeft - 4, 18);
    labels_[n + 6]->setGeometry(kValueLeft, top, kCanvasWidth - 8 - kValueLeft, 18);
    labels_[n + 6]->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    sliders_[n] = new HPropSlider(editor_->panel().HProp[n], canvas);
    sliders_[n]->setObjectName(QStringLiteral("HProp%1").arg(n + 1));
    sliders_[n]->setGeometry(kSliderLeft, top, kSliderWidth, 18);
    // The slider has told its model already; the labels and the rest follow the model.
    connect(sliders_[n], &QSlider::sliderMoved, this, [this] { RefreshPanel(); });
    connect(sliders_[n], &QSlider::sliderReleased, this, [this] { RefreshPanel(); });
    connect(sliders_[n], &QSlider::valueChanged, this, [this] { RefreshPanel(); });
  }

  struct ButtonDef {
    int n;
    const char* caption;
    const char* tip;
    KvButton::Kind kind;
  };
  using K = KvButton::Kind;
  const ButtonDef defs[] = {
      {1, "Set key", "Set a key at the current frame from the six sliders (K)", K::Setting},
      {2, "Key here", "Refill the channels and redraw the timeline", K::Setting},
      {5, "Clear keys", "Remove all keys", K::Setting},
      {6, "Reset", "Reset the sliders to the effect's defaults, keeping the keys", K::Setting},
      {3, "Render", "Render the effect over every frame (Ctrl+R)", K::Action},
      {12, "Undo", "Put back the frames of the last render (Ctrl+Z)", K::Action},
      {7, "Play", "Play the animation", K::Action},
      {8, "Stop", "Stop playing", K::Action},
      {9, "Zoom +", "Widen the timeline", K::Tool},
      {10, "Zoom -", "Narrow the timeline", K::Tool},
      {11, "Spline", "Interpolate the keys by a spline instead of straight lines", K::Tool},
      {13, "Select Sequence...", "Choose the first picture of the image sequence", K::Tool},
  };
  for (const ButtonDef& d : defs) {
    auto* b = new KvButton(QString::fromUtf8(d.caption), d.kind, canvas);
    b->setObjectName(QStringLiteral("kv_button%1").arg(d.n));
    b->setToolTip(QString::fromUtf8(d.tip));
    buttons_[static_cast<size_t>(d.n)] = b;
  }
  const int row1[] = {1, 2, 5, 6}, row2[] = {3, 12, 7, 8};
  for (int i = 0; i < 4; ++i) {
    buttons_[row1[i]]->setGeometry(kCaptionLeft + i * 87, 280, 82, 22);
    buttons_[row2[i]]->setGeometry(kCaptionLeft + i * 87, 306, 82, 22);
  }
  buttons_[9]->setGeometry(8, 436, 70, 22);
  buttons_[10]->setGeometry(82, 436, 70, 22);
  buttons_[11]->setGeometry(156, 436, 70, 22);
  buttons_[11]->setCheckable(true);
  buttons_[13]->resize(kSliderWidth, 18);

  Editor& e = *editor_;
  const auto on = [this](int n, auto fn) { connect(buttons_[n], &QPushButton::clicked, this, [this, fn] { Run(fn); }); };
  on(1, [&e] { e.kv_button1_Click(); });
  on(2, [&e] { e.kv_button2_Click(); });
  on(3, [this] { Render(); });
  on(5, [&e] { e.kv_button5_Click(); });
  on(6, [&e] { e.kv_button6_Click(); });
  on(7, [&e] { e.kv_button7_Click(); });
  on(8, [&e] { e.kv_button8_Click(); });
  on(9, [this] { timeline_->SetZoom(timeline_->zoom() * 2); });
  on(10, [this] { timeline_->SetZoom(timeline_->zoom() / 2); });
  on(11, [&e] { e.kv_button11_Click(); });
  on(12, [&e] { e.kv_button12_Click(); });
  on(13, [this, &e] { e.kv_button13_Click(*this); });

  check1_ = new QCheckBox(canvas);
  check1_->setObjectName("Check1");
  check1_->setGeometry(kCaptionLeft, 334, 18, 18);
  check1_->setToolTip("Keep the frames a render overwrites, for undo");
  connect(check1_, &QCheckBox::clicked, this, [this](bool checked) {
    Run([&] {
      editor_->panel().Check1 = checked ? 1 : 0;
      editor_->Check1_Click();
    });
  });
  labels_[12]->setGeometry(kCaptionLeft + 20, 334, 200, 18);
  labels_[12]->installEventFilter(this);

  timeline_ = new TimelinePanel(canvas);
  timeline_->setGeometry(8, 350, kCanvasWidth - 16, 80);
  TimelineStrip* strip = timeline_->strip();
  strip->on_mouse_move = [this, strip](int button, double x, double y) {
    TessalineHost& host = editor_->host();
    if (auto f = ScrubFrame(button, x, y, strip->width(), strip->height(), host.tes_GetTotalFrames()))
      host.Tes_GotoFrame(*f);
    DrawTimeline();
  };
  strip->on_mouse_up = [this] { Run([this] { editor_->DoPreviewFrame(); }); };
  timeline_->on_relayout = [this] { DrawTimeline(); };
}

void ToolWindow::BuildMenus(QMenuBar* bar) {
  QMenu* file = bar->addMenu("&File");
  file->setObjectName("File");
  AddMenuAction(file, "Save project...", [this] { SaveProject(); }, {}, "SaveProject");
  AddMenuAction(file, "Open project...", [this] { OpenProject(); }, {}, "OpenProject");

  QMenu* edit = bar->addMenu("&Edit");
  edit->setObjectName("Edit");
  AddMenuAction(edit, "Copy slider values", [this] { Run([this] { editor_->panel().Edit_copy_Click(); }); },
                QKeySequence::Copy, "Edit_copy");
  AddMenuAction(edit, "Paste slider values", [this] { Run([this] { editor_->panel().Edit_Paste_Click(); }); },
                QKeySequence::Paste, "Edit_Paste");

  QMenu* anim = bar->addMenu("&Animation");
  anim->setObjectName("Animation");
  AddMenuAction(anim, "Create new animation", [this] { Run([this] { editor_->AnimMenuCreate_Click(); }); }, {},
                "AnimMenuCreate");
  AddMenuAction(anim, "Delete undos", [this] { Run([this] { editor_->DeleteUndos_Click(); }); }, {}, "DeleteUndos");

  QMenu* swap = bar->addMenu("&Swap");
  swap->setObjectName("Swap");
  use_anim_ = AddMenuAction(swap, "Use anim as swap...", [this] { Run([this] { swap_menu_->UseAnimasSwap_Click(); }); },
                            {}, "UseAnimasSwap");
  use_sequence_ = AddMenuAction(
      swap, "Use sequence as swap...", [this] { Run([this] { swap_menu_->UseSequenceAsSwap_Click(); }); }, {},
      "UseSequenceAsSwap");
  use_anim_->setCheckable(true);
  use_sequence_->setCheckable(true);
}

void ToolWindow::BuildShortcuts() {
  const auto add = [this](const char* name, const QKeySequence& keys, auto fn) {
    auto* a = new QAction(QString::fromUtf8(name), this);
    a->setObjectName(QString::fromUtf8(name));
    a->setShortcut(keys);
    // The window may be docked: the keys work anywhere in the window that holds it.
    a->setShortcutContext(Qt::WindowShortcut);
    connect(a, &QAction::triggered, this, [this, fn] { Run(fn); });
    addAction(a);
  };
  add("SetKeyShortcut", QKeySequence(Qt::Key_K), [this] { editor_->kv_button1_Click(); });
  add("PreviewShortcut", QKeySequence(Qt::Key_P), [this] { editor_->DoPreviewFrame(); });
  add("RenderShortcut", QKeySequence(Qt::CTRL | Qt::Key_R), [this] { Render(); });
  add("UndoShortcut", QKeySequence(Qt::CTRL | Qt::Key_Z), [this] { editor_->kv_button12_Click(); });
}

template <typename Fn>
void ToolWindow::Run(Fn&& fn) {
  try {
    fn();
  } catch (const std::exception& e) {
    MessageBox(OneLineMessage(e.what()));
  }
  RefreshPanel();
}

void ToolWindow::RefreshPanel() {
  ParameterPanel& p = editor_->panel();
  {
    const QSignalBlocker block(list_);
    if (p.ListIndex() < 0) {
      list_->setCurrentRow(-1);
      list_->clearSelection();
    } else if (list_->currentRow() != p.ListIndex()) {
      list_->setCurrentRow(p.ListIndex());
      list_->scrollToItem(list_->currentItem());
    }
  }
  for (size_t n = 0; n < sliders_.size(); ++n) {
    const QSignalBlocker block(sliders_[n]);
    sliders_[n]->SyncFromModel();
  }
  for (size_t n = 0; n < labels_.size(); ++n) {
    QString text = QString::fromStdString(p.Label[n].caption);
    // Picking an effect leaves the value labels empty until a slider moves (the panel sets
    // the values while the sliders are still hidden). The window shows the values anyway:
    // a slider without its number looks broken.
    if (n >= 6 && n < 12 && text.isEmpty() && p.HProp[n - 6].Visible()) text = QString::number(p.HProp[n - 6].Value());
    labels_[n]->setText(text);
    labels_[n]->setVisible(p.Label[n].visible);
  }
  KvButton* seq = buttons_[13];
  seq->setText(QString::fromStdString(p.kv_button13.caption));
  seq->move(static_cast<int>(p.kv_button13.left) + kListExtra, static_cast<int>(p.kv_button13.top));
  seq->setVisible(p.kv_button13.visible);
  {
    const QSignalBlocker block(check1_);
    check1_->setChecked(p.Check1 != 0);
  }
  buttons_[11]->setChecked(editor_->keys().SplineMode());
  switch (p.Picture2_MousePointer) {
    case PointerKind::Custom:
      picture2_->setCursor(PickerCursor());
      break;
    case PointerKind::Sizing:
      picture2_->setCursor(Qt::SizeAllCursor);
      break;
    default:
      picture2_->setCursor(Qt::ArrowCursor);
  }
  use_anim_->setChecked(swap_menu_->anim_checked());
  use_sequence_->setChecked(swap_menu_->sequence_checked());
}

void ToolWindow::PrefsCallback() {
  scheme_ = ReadColorScheme(editor_->host());
  const ColorScheme& s = scheme_;

  QPalette pal = canvas_->palette();
  pal.setColor(QPalette::Window, Packed(s.special_backdrop));
  pal.setColor(QPalette::Button, Packed(s.button_fill));
  canvas_->setPalette(pal);

  QPalette lp = list_->palette();
  lp.setColor(QPalette::Base, Packed(s.textbox_fill));
  lp.setColor(QPalette::Text, Packed(s.textbox_text));
  lp.setColor(QPalette::Highlight, Packed(s.tab_highlight));
  lp.setColor(QPalette::HighlightedText, Packed(s.textbox_fill));
  list_->setPalette(lp);
  list_->setFrameShape(s.borderless_strings ? QFrame::NoFrame : QFrame::StyledPanel);

  const QString scroll = QStringLiteral(
                             "QScrollBar { background: %1; border: %3; }"
                             "QScrollBar::handle { background: %2; min-width: 16px; min-height: 16px; }")
                             .arg(Packed(s.scroll_fill).name(), Packed(s.scroll_bar).name(),
                                  s.borderless_scrollers ? QStringLiteral("none")
                                                         : QStringLiteral("1px solid %1").arg(Packed(s.shadow).name()));
  timeline_->scroll_bar()->setStyleSheet(scroll);
  list_->verticalScrollBar()->setStyleSheet(scroll);
  timeline_->strip()->back_color = Packed(s.ruler);

  for (KvButton* b : buttons_) {
    if (!b) continue;
    switch (b->kind()) {
      case KvButton::Kind::Tool:
        b->setColor(Packed(s.special_tool));
        break;
      case KvButton::Kind::Setting:
        b->setColor(Packed(s.special_setting));
        break;
      case KvButton::Kind::Action:
        b->setColor(Packed(s.special_action));
        break;
    }
    b->setHighlight(Packed(s.shine));
    b->setShadow(Packed(s.shadow));
    b->setBorderless(s.borderless_buttons != 0);
  }
  DrawTimeline();
}

// ---- EditorWindow ----

void ToolWindow::SetCaption(const std::string& text) { setWindowTitle(QString::fromStdString(text)); }

void ToolWindow::MessageBox(const std::string& text) {
  QMessageBox::information(this, windowTitle(), QString::fromStdString(text), QMessageBox::Ok);
}

std::optional<std::string> ToolWindow::InputBox(const std::string& prompt, const std::string& title,
                                                 const std::string& default_text) {
  bool ok = false;
  const QString answer = QInputDialog::getText(this, QString::fromStdString(title), QString::fromStdString(prompt),
                                               QLineEdit::Normal, QString::fromStdString(default_text), &ok);
  if (!ok) return std::nullopt;
  return answer.toStdString();
}

void ToolWindow::SetWaitCursor(bool waiting) {
  if (waiting)
    QApplication::setOverrideCursor(Qt::WaitCursor);
  else
    QApplication::restoreOverrideCursor();
}

PictureBox ToolWindow::PreviewBox() const { return {picture2_->width(), picture2_->height()}; }

void ToolWindow::ShowPicture(const ThumbImage& picture) {
  if (picture.width <= 0 || picture.height <= 0) return;
  QImage image(picture.rgb.data(), picture.width, picture.height, picture.width * 3, QImage::Format_RGB888);
  picture2_->SetImage(image.copy());  // the thumb's buffer is reused by the next preview
}

void ToolWindow::DrawTimeline() {
  timeline_pending_ = false;
  timeline_->strip()->Draw(editor_->keys().Timeline());
}

void ToolWindow::ScheduleTimelineDraw() {
  // A render moves the host frame by frame; the strip is redrawn once per event-loop turn.
  if (timeline_pending_) return;
  timeline_pending_ = true;
  QTimer::singleShot(0, this, [this] {
    if (timeline_pending_) DrawTimeline();
  });
}

std::optional<std::string> ToolWindow::GetOpenFileName(const std::string& title, const std::string& filter) {
  const QString path =
      QFileDialog::getOpenFileName(this, QString::fromStdString(title), LastFolder(), QtFileFilter(filter));
  if (path.isEmpty()) return std::nullopt;
  RememberFolder(path);
  return path.toStdString();
}

// ---- actions with windows of their own ----

void ToolWindow::Render() {
  ProgressWindow form2(*editor_, this);
  form2.exec();
  editor_->host().Tes_Refresh();
}

void ToolWindow::SaveProject() {
  QFileDialog dlg(this, "Save project", LastFolder(), "Projects (*.json)");
  dlg.setAcceptMode(QFileDialog::AcceptSave);
  dlg.setDefaultSuffix("json");  // "shot12" is saved as "shot12.json", which Open lists
  if (dlg.exec() == QDialog::Accepted && !dlg.selectedFiles().isEmpty()) SaveProjectTo(dlg.selectedFiles().front());
}

void ToolWindow::OpenProject() {
  const QString path = QFileDialog::getOpenFileName(this, "Open project", LastFolder(), "Projects (*.json)");
  if (!path.isEmpty()) OpenProjectFrom(path);
}

bool ToolWindow::SaveProjectTo(const QString& path) {
  bool saved = false;
  Run([&] {
    WriteProjectFile(CaptureProject(*editor_), path.toStdString());
    RememberFolder(path);
    saved = true;
  });
  return saved;
}

bool ToolWindow::OpenProjectFrom(const QString& path) {
  bool opened = false;
  Run([&] {
    ApplyProject(*editor_, ReadProjectFile(path.toStdString()));
    RememberFolder(path);
    opened = true;
  });
  return opened;
}

bool ToolWindow::eventFilter(QObject* watched, QEvent* event) {
  if (watched == labels_[12] && event->type() == QEvent::MouseButtonRelease) {
    Run([this] { editor_->Label13_Click(); });
    return true;
  }
  if (watched == picture2_) PreviewMouse(event);
  return QWidget::eventFilter(watched, event);
}

void ToolWindow::PreviewMouse(QEvent* event) {
  const auto type = event->type();
  if (type != QEvent::MouseButtonPress && type != QEvent::MouseMove && type != QEvent::MouseButtonRelease) return;
  if (type == QEvent::MouseButtonRelease) {
    picker_.Release();
    return;
  }
  const auto* me = static_cast<QMouseEvent*>(event);
  if (type == QEvent::MouseMove && !picker_.pressed()) return;
  if (!PreviewPicker::Accepts(editor_->panel())) return;
  const QRect r = picture2_->PictureRect();
  if (r.width() <= 0 || r.height() <= 0) return;
  const double fx = (me->position().x() - r.x()) / r.width();
  const double fy = (me->position().y() - r.y()) / r.height();
  const PreviewPoint point = PointAt(editor_->image(), fx, fy);
  Run([&] {
    if (type == QEvent::MouseButtonPress)
      picker_.Press(editor_->panel(), point);
    else
      picker_.Move(editor_->panel(), point);
  });
}

// ---- settings ----

QString ToolWindow::LastFolder() const {
  return QString::fromStdString(editor_->host().GetSetting("tessfx", kToolWindowSection, "LastFolder", ""));
}

void ToolWindow::RememberFolder(const QString& file) {
  editor_->host().SaveSetting("tessfx", kToolWindowSection, "LastFolder", QFileInfo(file).absolutePath().toStdString());
}

void ToolWindow::SaveWindowPlacement() {
  QWidget* top = window();
  TessalineHost& host = editor_->host();
  host.SaveSetting("tessfx", kToolWindowSection, "Geometry", top->saveGeometry().toBase64().toStdString());
  if (auto* main = qobject_cast<QMainWindow*>(top))
    host.SaveSetting("tessfx", kToolWindowSection, "DockState", main->saveState().toBase64().toStdString());
}

void ToolWindow::RestoreWindowPlacement() {
  TessalineHost& host = editor_->host();
  const auto read = [&](const char* key) {
    return QByteArray::fromBase64(QByteArray::fromStdString(host.GetSetting("tessfx", kToolWindowSection, key, "")));
  };
  QWidget* top = window();
  if (const QByteArray g = read("Geometry"); !g.isEmpty()) top->restoreGeometry(g);
  if (auto* main = qobject_cast<QMainWindow*>(top))
    if (const QByteArray s = read("DockState"); !s.isEmpty()) main->restoreState(s);
}

}  // namespace tessfx
