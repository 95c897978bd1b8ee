#include "ui/tool_window.h"

#include <QActionGroup>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStringList>
#include <QTableWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <cmath>
#include <cstdlib>

#include "core/error.h"
#include "engine/effect_search.h"
#include "render/project.h"
#include "ui/preview_view.h"
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

// The slider rows, 20 pixels apart, as the panel model places them: slider n's row starts
// at 156 + 20 n and the sequence button at the top the model gives it (218 for the row
// below a third slider), at the sliders' left edge (262 in the model).
constexpr int kModelSliderTop = 156, kModelSliderLeft = 262, kRowStep = 20;
constexpr int kCaptionWidth = 108, kValueWidth = 50;

// The block of slider rows: captions, sliders and value labels in fixed rows, stretched to
// the block's width.
class SliderBlock : public QWidget {
 public:
  explicit SliderBlock(QWidget* parent) : QWidget(parent) {
    setObjectName("SliderBlock");
    setFixedHeight(6 * kRowStep + 20);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  }
  std::array<QWidget*, 6> captions{}, sliders{}, values{};
  QWidget* button = nullptr;
  float button_model_left = kModelSliderLeft;
  float button_model_top = 0;

  int slider_left() const { return kCaptionWidth + 4; }
  int slider_width() const { return std::max(60, width() - slider_left() - kValueWidth - 6); }
  void Place() {
    for (int n = 0; n < 6; ++n) {
      const int top = n * kRowStep;
      if (captions[n]) captions[n]->setGeometry(0, top, kCaptionWidth, 18);
      if (sliders[n]) sliders[n]->setGeometry(slider_left(), top, slider_width(), 18);
      if (values[n]) values[n]->setGeometry(width() - kValueWidth, top, kValueWidth, 18);
    }
    if (button) {
      const int x = slider_left() + static_cast<int>(button_model_left) - kModelSliderLeft;
      button->setGeometry(x, static_cast<int>(button_model_top) - kModelSliderTop, slider_width(), 18);
    }
  }

 protected:
  void resizeEvent(QResizeEvent*) override { Place(); }
};

const struct EaseChoice {
  KeyEase ease;
  const char* caption;
  const char* tip;
} kEaseChoices[] = {
    {KeyEase::Fill, "As the fill draws it", "Straight lines, or the spline when Spline is down"},
    {KeyEase::Linear, "Linear", "Straight on both sides of the key"},
    {KeyEase::Hold, "Hold", "The key's values hold until the next key"},
    {KeyEase::EaseIn, "Ease in", "Slow down into the key"},
    {KeyEase::EaseOut, "Ease out", "Start slowly out of the key"},
    {KeyEase::EaseInOut, "Ease in and out", "Slow into the key and out of it"},
};

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
  canvas_->setAutoFillBackground(true);
  canvas_->setMinimumSize(620, 560);
  layout->addWidget(canvas_, 1);

  BuildControls(canvas_);
  BuildMenus(bar);
  BuildShortcuts();
  ReadOptions();
  PrefsCallback();
  RefreshPanel();
  connect(qApp, &QCoreApplication::aboutToQuit, this, &ToolWindow::SaveWindowPlacement);
}

ToolWindow::~ToolWindow() = default;

void ToolWindow::BuildControls(QWidget* canvas) {
  auto* outer = new QVBoxLayout(canvas);
  outer->setContentsMargins(6, 6, 6, 6);
  outer->setSpacing(6);
  auto* top = new QHBoxLayout();
  top->setSpacing(8);
  outer->addLayout(top, 1);

  // ---- the effect list and its search ----
  auto* left = new QVBoxLayout();
  left->setSpacing(4);
  top->addLayout(left);
  search_ = new QLineEdit(canvas);
  search_->setObjectName("EffectSearch");
  search_->setPlaceholderText("Find an effect (Ctrl+F)");
  search_->setClearButtonEnabled(true);
  search_->setToolTip("Type part of an effect's or category's name; Enter picks the first match, Down goes to the list");
  search_->installEventFilter(this);
  connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) { SetSearchText(text); });
  connect(search_, &QLineEdit::returnPressed, this, [this] {
    const int row = FirstShownEffectRow(shown_rows_);
    if (row >= 0) list_->setCurrentRow(row);
  });
  left->addWidget(search_);
  list_ = new QListWidget(canvas);
  list_->setObjectName("List1");
  list_->setFixedWidth(206);
  QFont heading_font = list_->font();
  heading_font.setBold(true);
  for (const std::string& row : editor_->panel().List1()) {
    auto* item = new QListWidgetItem(QString::fromStdString(row), list_);
    if (!row.starts_with(kListIndent)) {
      item->setFont(heading_font);
    } else if (const EffectDef* e = FindEffect(std::string_view(row).substr(kListIndent.size()))) {
      item->setToolTip(QString::fromUtf8(e->description.data(), static_cast<qsizetype>(e->description.size())));
    }
  }
  list_->setSelectionMode(QAbstractItemView::SingleSelection);
  list_->installEventFilter(this);
  // Selection, not the current row: focusing the list makes a row current without
  // choosing it, and the editor starts with nothing chosen.
  connect(list_, &QListWidget::itemSelectionChanged, this, [this] { ListSelectionChanged(); });
  left->addWidget(list_, 1);
  shown_rows_ = EffectRowsMatching("");

  // ---- the preview and its view controls ----
  auto* right = new QVBoxLayout();
  right->setSpacing(4);
  top->addLayout(right, 1);
  auto* viewbar = new QHBoxLayout();
  viewbar->setSpacing(2);
  right->addLayout(viewbar);
  const auto tool = [&](const char* name, const char* text, const char* tip) {
    auto* b = new QToolButton(canvas);
    b->setObjectName(name);
    b->setText(text);
    b->setToolTip(tip);
    b->setCheckable(true);
    b->setAutoRaise(true);
    viewbar->addWidget(b);
    return b;
  };
  tool("ViewFit", "Fit", "Fit the preview to its space");
  tool("ViewActual", "1:1", "One frame pixel per screen pixel; drag with the middle button to pan");
  tool("ViewSplit", "Before | After", "Show the frame before the effect left of a divider");
  viewbar->addStretch(1);

  picture2_ = new PreviewView(canvas);
  picture2_->setObjectName("Picture2");
  picture2_->installEventFilter(this);
  picture2_->on_divider_moved = [this](double d) {
    editor_->host().SaveSetting("tessfx", kToolWindowSection, "Divider", std::to_string(d));
  };
  right->addWidget(picture2_, 1);
  // The effect's one line: wrapped into two lines at most, never widening the window.
  description_ = new QLabel(canvas);
  description_->setObjectName("EffectDescription");
  description_->setWordWrap(true);
  description_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
  description_->setFixedHeight(2 * description_->fontMetrics().lineSpacing() + 2);
  description_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  right->addWidget(description_);

  // ---- sliders ----
  auto* block = new SliderBlock(canvas);
  for (int n = 0; n < 13; ++n) {
    labels_[n] = (n >= 6 && n < 12) ? new ValueLabel(n - 5, block) : new QLabel(n < 12 ? block : canvas);
    labels_[n]->setObjectName(QStringLiteral("Label%1").arg(n + 1));
  }
  for (int n = 0; n < 6; ++n) {
    labels_[n + 6]->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto* value = static_cast<ValueLabel*>(labels_[n + 6]);
    value->can_edit = [this, n] { return editor_->panel().HProp[n].Visible(); };
    value->on_typed = [this, n](const QString& text) {
      bool ok = false;
      Run([&] { ok = editor_->panel().TypeValue(n + 1, text.toStdString()); });
      return ok;
    };
    sliders_[n] = new HPropSlider(editor_->panel().HProp[n], block);
    sliders_[n]->setObjectName(QStringLiteral("HProp%1").arg(n + 1));
    // The slider has told its model already; the labels and the rest follow the model.
    connect(sliders_[n], &QSlider::sliderMoved, this, [this] {
      RefreshPanel();
      if (live_preview_) Schedule(kLive);
    });
    connect(sliders_[n], &QSlider::sliderReleased, this, [this] { RefreshPanel(); });
    connect(sliders_[n], &QSlider::valueChanged, this, [this] { RefreshPanel(); });
    block->captions[n] = labels_[n];
    block->sliders[n] = sliders_[n];
    block->values[n] = labels_[n + 6];
  }
  right->addWidget(block);

  // ---- buttons ----
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
      {9, "Zoom +", "Widen the timeline (Ctrl + wheel on the strip)", K::Tool},
      {10, "Zoom -", "Narrow the timeline", K::Tool},
      {11, "Spline", "Interpolate the keys by a spline instead of straight lines", K::Tool},
      {13, "Select Sequence...", "Choose the first picture of the image sequence", K::Tool},
  };
  for (const ButtonDef& d : defs) {
    auto* b = new KvButton(QString::fromUtf8(d.caption), d.kind, d.n == 13 ? static_cast<QWidget*>(block) : canvas);
    b->setObjectName(QStringLiteral("kv_button%1").arg(d.n));
    b->setToolTip(QString::fromUtf8(d.tip));
    buttons_[static_cast<size_t>(d.n)] = b;
  }
  block->button = buttons_[13];
  play_effect_ = new KvButton("Play effect", K::Action, canvas);
  play_effect_->setObjectName("PlayEffect");
  play_effect_->setToolTip("Play the animation with the effect in the preview; pictures shown once play at full speed");
  const auto row = [&](std::initializer_list<QWidget*> widgets) {
    auto* h = new QHBoxLayout();
    h->setSpacing(5);
    for (QWidget* w : widgets) {
      w->setMinimumWidth(78);
      h->addWidget(w);
    }
    h->addStretch(1);
    right->addLayout(h);
  };
  row({buttons_[1], buttons_[2], buttons_[5], buttons_[6]});
  row({buttons_[3], buttons_[12], buttons_[7], buttons_[8], play_effect_});

  check1_ = new QCheckBox(canvas);
  check1_->setObjectName("Check1");
  check1_->setToolTip("Keep the frames a render overwrites, for undo");
  connect(check1_, &QCheckBox::clicked, this, [this](bool checked) {
    Run([&] {
      editor_->panel().Check1 = checked ? 1 : 0;
      editor_->Check1_Click();
    });
  });
  labels_[12]->installEventFilter(this);
  auto* undo_row = new QHBoxLayout();
  undo_row->addWidget(check1_);
  undo_row->addWidget(labels_[12]);
  undo_row->addStretch(1);
  right->addLayout(undo_row);

  Editor& e = *editor_;
  const auto on = [this](QAbstractButton* b, auto fn) { connect(b, &QAbstractButton::clicked, this, [this, fn] { Run(fn); }); };
  on(buttons_[1], [&e] { e.kv_button1_Click(); });
  on(buttons_[2], [&e] { e.kv_button2_Click(); });
  on(buttons_[3], [this] { Render(); });
  on(buttons_[5], [&e] { e.kv_button5_Click(); });
  on(buttons_[6], [&e] { e.kv_button6_Click(); });
  on(buttons_[7], [this, &e] {
    playing_effect_ = false;
    e.kv_button7_Click();
  });
  on(buttons_[8], [&e] { e.kv_button8_Click(); });
  on(play_effect_, [this] { PlayEffect(); });
  on(buttons_[11], [&e] { e.kv_button11_Click(); });
  on(buttons_[12], [&e] { e.kv_button12_Click(); });
  on(buttons_[13], [this, &e] { e.kv_button13_Click(*this); });

  // ---- keys and the timeline ----
  auto* keybar = new QHBoxLayout();
  keybar->setSpacing(4);
  outer->addLayout(keybar);
  const auto key_button = [&](const char* name, const char* text, const char* tip) {
    auto* b = new QToolButton(canvas);
    b->setObjectName(name);
    b->setText(text);
    b->setToolTip(tip);
    keybar->addWidget(b);
    return b;
  };
  QToolButton* previous_key = key_button("KeyPrevious", "\u25C0 Key", "Go to the previous key (Alt+Left)");
  QToolButton* next_key = key_button("KeyNext", "Key \u25B6", "Go to the next key (Alt+Right)");
  QToolButton* delete_key = key_button("KeyDelete", "Delete key", "Delete the selected key (Delete)");
  ease_button_ = key_button("KeyEase", "Ease", "How the curve meets the selected key");
  ease_menu_ = new QMenu(this);
  ease_menu_->setObjectName("EaseMenu");
  ease_group_ = new QActionGroup(this);
  for (const EaseChoice& c : kEaseChoices) {
    QAction* a = ease_menu_->addAction(QString::fromUtf8(c.caption));
    a->setObjectName(QStringLiteral("Ease_%1").arg(QString::fromUtf8(KeyEaseName(c.ease).data()).replace(' ', '_')));
    a->setToolTip(QString::fromUtf8(c.tip));
    a->setCheckable(true);
    ease_group_->addAction(a);
    const KeyEase ease = c.ease;
    connect(a, &QAction::triggered, this, [this, ease] { SetEaseOfKey(ease); });
  }
  ease_button_->setMenu(ease_menu_);
  ease_button_->setPopupMode(QToolButton::InstantPopup);
  auto* scale_label = new QLabel("Scale:", canvas);
  keybar->addSpacing(8);
  keybar->addWidget(scale_label);
  scale_channel_ = new QComboBox(canvas);
  scale_channel_->setObjectName("ScaleChannel");
  scale_channel_->setToolTip("The slider whose values the scale beside the strip shows");
  scale_channel_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  connect(scale_channel_, &QComboBox::currentIndexChanged, this, [this] { UpdateValueScale(); });
  keybar->addWidget(scale_channel_);
  keybar->addStretch(1);
  for (int n : {9, 10, 11}) keybar->addWidget(buttons_[n]);
  buttons_[11]->setCheckable(true);
  connect(previous_key, &QToolButton::clicked, this, [this] { Run([this] { editor_->GotoPreviousKey(); }); });
  connect(next_key, &QToolButton::clicked, this, [this] { Run([this] { editor_->GotoNextKey(); }); });
  connect(delete_key, &QToolButton::clicked, this, [this] { DeleteKey(); });

  timeline_ = new TimelinePanel(canvas);
  timeline_->setObjectName("Timeline");
  timeline_->setFixedHeight(TimelineRuler::kRulerHeight + TimelineRuler::kLaneHeight + 86 +
                            timeline_->scroll_bar()->sizeHint().height());
  outer->addWidget(timeline_);
  on(buttons_[9], [this] { timeline_->SetZoom(timeline_->zoom() * 2, editor_->host().tes_Getcurrentframe()); });
  on(buttons_[10], [this] { timeline_->SetZoom(timeline_->zoom() / 2, editor_->host().tes_Getcurrentframe()); });

  TimelineStrip* strip = timeline_->strip();
  strip->on_mouse_move = [this, strip](int button, double x, double y) {
    TessalineHost& host = editor_->host();
    scrubbing_ = button != 0;
    if (auto f = ScrubFrame(button, x, y, strip->scale_width(), strip->height(), host.tes_GetTotalFrames()))
      Run([&] { host.Tes_GotoFrame(*f); });
    DrawTimeline();
  };
  // Releasing the strip previews (after the sliders have followed the keys).
  strip->on_mouse_up = [this] {
    scrubbing_ = false;
    Run([this] { editor_->FrameSettled(); });
  };
  strip->on_zoom_wheel = [this](int delta, double x) {
    const int32_t T = editor_->host().tes_GetTotalFrames();
    const int32_t f = NearestFrame(x, T, timeline_->strip()->scale_width());
    timeline_->SetZoom(delta > 0 ? timeline_->zoom() * 1.25f : timeline_->zoom() / 1.25f, f);
  };
  TimelineRuler* ruler = timeline_->ruler();
  ruler->on_goto = [this](int32_t f) {
    scrubbing_ = true;
    TessalineHost& host = editor_->host();
    if (f != host.tes_Getcurrentframe()) Run([&] { host.Tes_GotoFrame(f); });
  };
  ruler->on_goto_done = [this] {
    scrubbing_ = false;
    Run([this] { editor_->FrameSettled(); });
  };
  ruler->on_select = [this](std::optional<int32_t> key) {
    Run([&] {
      if (key)
        editor_->SelectKeyAt(*key);
      else
        state_.selected_key_index = -1;
    });
    UpdateKeyLane();
  };
  ruler->on_key_moved = [this](int32_t from, int32_t to) {
    Run([&] {
      if (editor_->keys().MoveKey(from, to)) {
        editor_->SelectKeyAt(to);
        editor_->FrameSettled();
      }
    });
  };
  ruler->on_key_menu = [this](int32_t frame, QPoint global) { KeyMenu(frame, global); };
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
  edit->addSeparator();
  AddMenuAction(edit, "Find effect", [this] {
    search_->setFocus(Qt::ShortcutFocusReason);
    search_->selectAll();
  }, QKeySequence::Find, "FindEffect");

  QMenu* view = bar->addMenu("&View");
  view->setObjectName("View");
  follow_action_ = AddMenuAction(view, "Sliders follow keys", [this] { SetFollowKeys(follow_action_->isChecked()); }, {},
                                 "SlidersFollowKeys");
  follow_action_->setCheckable(true);
  follow_action_->setToolTip("When the frame changes, the sliders take the values the keys give there");
  live_action_ = AddMenuAction(view, "Live preview while dragging", [this] { SetLivePreview(live_action_->isChecked()); },
                               {}, "LivePreview");
  live_action_->setCheckable(true);
  view->addSeparator();
  split_action_ = AddMenuAction(view, "Before and after", [this] { SetBeforeAfter(split_action_->isChecked()); },
                                QKeySequence(Qt::Key_B), "BeforeAfter");
  split_action_->setCheckable(true);
  fit_action_ = AddMenuAction(view, "Fit the preview", [this] { SetActualSize(false); }, QKeySequence(Qt::Key_F),
                              "FitPreview");
  actual_action_ = AddMenuAction(view, "Actual size (1:1)", [this] { SetActualSize(true); }, QKeySequence(Qt::Key_1),
                                 "ActualSize");
  fit_action_->setCheckable(true);
  actual_action_->setCheckable(true);
  auto* scale_group = new QActionGroup(this);
  scale_group->addAction(fit_action_);
  scale_group->addAction(actual_action_);
  for (QAction* a : {fit_action_, actual_action_, split_action_}) a->setShortcutContext(Qt::WindowShortcut);
  // The view bar's buttons are the same commands.
  const auto bind = [this](const char* name, QAction* a) {
    auto* b = findChild<QToolButton*>(name);
    connect(b, &QToolButton::clicked, a, [a] { a->trigger(); });
    connect(a, &QAction::toggled, b, &QToolButton::setChecked);
  };
  bind("ViewFit", fit_action_);
  bind("ViewActual", actual_action_);
  bind("ViewSplit", split_action_);

  QMenu* key = bar->addMenu("&Key");
  key->setObjectName("Key");
  AddMenuAction(key, "Set key", [this] { Run([this] { editor_->kv_button1_Click(); }); }, QKeySequence(Qt::Key_K),
                "SetKey")
      ->setShortcutContext(Qt::WindowShortcut);
  AddMenuAction(key, "Previous key", [this] { Run([this] { editor_->GotoPreviousKey(); }); },
                QKeySequence(Qt::ALT | Qt::Key_Left), "PreviousKey")
      ->setShortcutContext(Qt::WindowShortcut);
  AddMenuAction(key, "Next key", [this] { Run([this] { editor_->GotoNextKey(); }); },
                QKeySequence(Qt::ALT | Qt::Key_Right), "NextKey")
      ->setShortcutContext(Qt::WindowShortcut);
  AddMenuAction(key, "Delete key", [this] { DeleteKey(); }, QKeySequence(Qt::Key_Delete), "DeleteKey")
      ->setShortcutContext(Qt::WindowShortcut);
  QMenu* ease = key->addMenu("Ease");
  ease->setObjectName("KeyEaseMenu");
  for (QAction* a : ease_group_->actions()) ease->addAction(a);
  key->addSeparator();
  AddMenuAction(key, "Clear keys", [this] { Run([this] { editor_->kv_button5_Click(); }); }, {}, "ClearKeys");

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

  QMenu* help = bar->addMenu("&Help");
  help->setObjectName("Help");
  AddMenuAction(help, "Keyboard shortcuts", [this] { ShowShortcuts(); }, QKeySequence(Qt::Key_F1), "Shortcuts")
      ->setShortcutContext(Qt::WindowShortcut);
  AddMenuAction(help, "About the selected effect", [this] { ShowEffectHelp(); }, {}, "AboutEffect");
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
  add("PreviewShortcut", QKeySequence(Qt::Key_P), [this] { editor_->DoPreviewFrame(); });
  add("RenderShortcut", QKeySequence(Qt::CTRL | Qt::Key_R), [this] { Render(); });
  add("UndoShortcut", QKeySequence(Qt::CTRL | Qt::Key_Z), [this] { editor_->kv_button12_Click(); });
  // The key menu's items carry their shortcuts; they work while the menu bar is docked too.
  for (const char* name : {"SetKey", "PreviousKey", "NextKey", "DeleteKey", "BeforeAfter", "FitPreview", "ActualSize",
                           "Shortcuts"})
    if (QAction* a = findChild<QAction*>(name)) addAction(a);
}

void ToolWindow::ReadOptions() {
  TessalineHost& host = editor_->host();
  const auto option = [&](const char* key, bool fallback) {
    return host.GetSetting("tessfx", kToolWindowSection, key, fallback ? "1" : "0") != "0";
  };
  // Sliders follow keys unless switched off: see the README for why.
  const bool follow = option("SlidersFollowKeys", true);
  follow_action_->setChecked(follow);
  editor_->set_follow_keys(follow);
  live_preview_ = option("LivePreview", false);
  live_action_->setChecked(live_preview_);
  split_action_->setChecked(option("BeforeAfter", false));
  picture2_->SetSplit(split_action_->isChecked());
  const bool actual = option("ActualSize", false);
  (actual ? actual_action_ : fit_action_)->setChecked(true);
  picture2_->SetScale(actual ? PreviewView::Scale::Actual : PreviewView::Scale::Fit);
  const double divider = std::atof(host.GetSetting("tessfx", kToolWindowSection, "Divider", "0.5").c_str());
  picture2_->SetDivider(std::isfinite(divider) ? divider : 0.5);
}

void ToolWindow::SaveOption(const char* key, bool on) {
  editor_->host().SaveSetting("tessfx", kToolWindowSection, key, on ? "1" : "0");
}

void ToolWindow::SetFollowKeys(bool on) {
  follow_action_->setChecked(on);
  editor_->set_follow_keys(on);
  SaveOption("SlidersFollowKeys", on);
  if (on) Run([this] { editor_->FrameSettled(); });
}

void ToolWindow::SetLivePreview(bool on) {
  live_preview_ = on;
  live_action_->setChecked(on);
  SaveOption("LivePreview", on);
}

void ToolWindow::SetBeforeAfter(bool on) {
  split_action_->setChecked(on);
  picture2_->SetSplit(on);
  SaveOption("BeforeAfter", on);
  if (on) Run([this] { editor_->DoPreviewFrame(); });
}

void ToolWindow::SetActualSize(bool on) {
  (on ? actual_action_ : fit_action_)->setChecked(true);
  picture2_->SetScale(on ? PreviewView::Scale::Actual : PreviewView::Scale::Fit);
  SaveOption("ActualSize", on);
  Run([this] { editor_->DoPreviewFrame(); });
}

void ToolWindow::PlayEffect() {
  playing_effect_ = true;
  editor_->kv_button7_Click();
  Schedule(kFlipbook);
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

// ---- following the host ----

void ToolWindow::OnFrameChanged(int32_t) {
  if (rendering_) {
    ScheduleTimelineDraw();  // the render shows its own frames
  } else if (scrubbing_) {
    // Dragging on the strip or the ruler: sliders and caption follow at once, the preview
    // comes on release.
    Run([this] {
      editor_->FollowKeys();
      editor_->ShowFrameCaption();
    });
    ScheduleTimelineDraw();
  } else if (playing_) {
    Schedule(playing_effect_ ? kFlipbook : kFollow);
  } else {
    Schedule(kSettle);
  }
}

void ToolWindow::OnFrameWritten(int32_t frame) {
  editor_->flipbook().Drop(frame);
  if (!rendering_ && frame == editor_->host().tes_Getcurrentframe()) Schedule(kSettle);
}

void ToolWindow::OnAnimationReplaced() { Schedule(kDocument); }

void ToolWindow::OnRefresh() {
  if (rendering_) return;
  editor_->flipbook().Clear();
  Schedule(kSettle);
}

void ToolWindow::OnStop() {
  playing_ = false;
  playing_effect_ = false;
  Schedule(kSettle);
}

void ToolWindow::Schedule(unsigned what) {
  pending_ |= what;
  if (catch_up_scheduled_) return;
  catch_up_scheduled_ = true;
  QTimer::singleShot(0, this, [this] { CatchUp(); });
}

void ToolWindow::SyncNow() {
  CatchUp();
  QCoreApplication::processEvents();
}

void ToolWindow::CatchUp() {
  catch_up_scheduled_ = false;
  const unsigned what = pending_;
  pending_ = 0;
  if (!what || rendering_) return;
  Run([&] {
    if (what & kDocument) {
      timeline_->set_total_frames(editor_->host().tes_GetTotalFrames());
      timeline_->Relayout();
      editor_->DocumentReplaced();
    } else if ((what & (kSettle | kFlipbook)) && playing_ && playing_effect_) {
      editor_->FollowKeys();
      editor_->ShowFlipbookFrame();
    } else if (what & kSettle) {
      editor_->FrameSettled();
    } else if (what & kFollow) {
      editor_->FollowKeys();
      editor_->ShowFrameCaption();
    }
    if (what & kLive) {
      // Only the pictures of this step are the reduced ones.
      showing_live_ = true;
      struct Done {
        bool& flag;
        ~Done() { flag = false; }
      } done{showing_live_};
      if (!editor_->ShowLivePreview()) editor_->renderer().DoPreviewFrame();
    }
  });
  if (what & (kDocument | kSettle | kFlipbook | kFollow)) {
    timeline_->EnsureVisible(editor_->host().tes_Getcurrentframe());
    DrawTimeline();
  }
}

// ---- the effect list ----

void ToolWindow::SetSearchText(const QString& text) {
  if (search_->text() != text) search_->setText(text);  // raises textChanged, which comes back here
  shown_rows_ = EffectRowsMatching(text.toStdString());
  for (int i = 0; i < list_->count(); ++i) list_->setRowHidden(i, !shown_rows_[static_cast<size_t>(i)]);
  if (const int row = editor_->panel().ListIndex(); row >= 0 && shown_rows_[static_cast<size_t>(row)])
    list_->scrollToItem(list_->item(row));
  else if (const int first = FirstShownEffectRow(shown_rows_); first >= 0)
    list_->scrollToItem(list_->item(first), QAbstractItemView::PositionAtTop);
}

void ToolWindow::ListSelectionChanged() {
  const QList<QListWidgetItem*> chosen = list_->selectedItems();
  if (chosen.isEmpty()) return;
  int row = list_->row(chosen.front());
  const std::string& text = editor_->panel().List1()[static_cast<size_t>(row)];
  // A heading picks the effect after it; while a search hides some, the first shown one.
  if (!text.starts_with(kListIndent) && !search_->text().trimmed().isEmpty()) {
    const int next = NextEffectRow(shown_rows_, row, 1);
    if (next > row) row = next;
  }
  Run([&] { editor_->panel().SetListIndex(row); });
  // The list may still be finishing the click or key that changed it: show the model's row
  // once it has.
  QTimer::singleShot(0, this, [this] { SyncListSelection(); });
}

void ToolWindow::SyncListSelection() {
  const int index = editor_->panel().ListIndex();
  const QSignalBlocker block(list_);
  if (index < 0) {
    list_->setCurrentRow(-1);
    list_->clearSelection();
    return;
  }
  if (list_->currentRow() != index || !list_->item(index)->isSelected()) {
    list_->setCurrentRow(index, QItemSelectionModel::ClearAndSelect);
    list_->scrollToItem(list_->currentItem());
  }
}

bool ToolWindow::ListKey(int key) {
  const int visible_rows = std::max(1, list_->viewport()->height() / std::max(1, list_->sizeHintForRow(0)));
  int step = 0;
  switch (key) {
    case Qt::Key_Down: step = 1; break;
    case Qt::Key_Up: step = -1; break;
    case Qt::Key_PageDown: step = visible_rows; break;
    case Qt::Key_PageUp: step = -visible_rows; break;
    case Qt::Key_Home: step = -list_->count(); break;
    case Qt::Key_End: step = list_->count(); break;
    default: return false;
  }
  const int current = editor_->panel().ListIndex();
  // From no effect, Up and Down alike start at the first one shown.
  const int target = current < 0 ? FirstShownEffectRow(shown_rows_) : NextEffectRow(shown_rows_, current, step);
  if (target >= 0 && target != current) list_->setCurrentRow(target);
  return true;
}

// ---- keys ----

std::optional<int32_t> ToolWindow::TargetKey() const {
  if (const std::optional<int32_t> k = editor_->SelectedKeyFrame(); k && *k < editor_->host().tes_GetTotalFrames())
    return k;
  const int32_t f = editor_->host().tes_Getcurrentframe();
  if (editor_->keys().KeyIndexAt(f) >= 0) return f;
  return std::nullopt;
}

void ToolWindow::SetEaseOfKey(KeyEase ease) {
  const std::optional<int32_t> key = TargetKey();
  if (!key) {
    MessageBox("Select a key first: click its mark above the strip, or go to its frame.");
    UpdateKeyLane();
    return;
  }
  Run([&] {
    editor_->keys().SetEase(*key, ease);
    editor_->SelectKeyAt(*key);
    editor_->FrameSettled();
  });
}

void ToolWindow::DeleteKey() {
  const std::optional<int32_t> key = TargetKey();
  if (!key) return;
  Run([&] {
    editor_->keys().RemoveKey(*key);
    state_.selected_key_index = -1;
    editor_->FrameSettled();
  });
}

void ToolWindow::KeyMenu(int32_t frame, QPoint global) {
  QMenu menu(this);
  menu.setObjectName("KeyContextMenu");
  menu.addSection(QStringLiteral("Key at frame %1").arg(int64_t{frame} + 1));
  const int i = editor_->keys().KeyIndexAt(frame);
  const KeyEase current = i >= 0 ? editor_->keys().KeyList()[static_cast<size_t>(i)].Ease : KeyEase::Fill;
  for (const EaseChoice& c : kEaseChoices) {
    QAction* a = menu.addAction(QString::fromUtf8(c.caption));
    a->setCheckable(true);
    a->setChecked(c.ease == current);
    const KeyEase ease = c.ease;
    connect(a, &QAction::triggered, this, [this, ease] { SetEaseOfKey(ease); });
  }
  menu.addSeparator();
  connect(menu.addAction("Delete key"), &QAction::triggered, this, [this] { DeleteKey(); });
  menu.exec(global);
}

void ToolWindow::UpdateKeyLane() {
  const KeyChannels& keys = editor_->keys();
  KeyLaneData d;
  d.total_frames = editor_->host().tes_GetTotalFrames();
  d.current_frame = editor_->host().tes_Getcurrentframe();
  for (int32_t i = 0; i <= keys.LastKey(); ++i) {
    d.key_frames.push_back(keys.KeyList()[static_cast<size_t>(i)].Frame);
    d.key_eases.push_back(keys.KeyList()[static_cast<size_t>(i)].Ease);
  }
  d.selected = editor_->SelectedKeyFrame();
  timeline_->set_total_frames(d.total_frames);
  timeline_->ruler()->SetData(std::move(d));
  // The ease menus show the target key's preset.
  const std::optional<int32_t> target = TargetKey();
  const int i = target ? keys.KeyIndexAt(*target) : -1;
  const KeyEase ease = i >= 0 ? keys.KeyList()[static_cast<size_t>(i)].Ease : KeyEase::Fill;
  const QList<QAction*> actions = ease_group_->actions();
  for (size_t n = 0; n < std::size(kEaseChoices) && n < static_cast<size_t>(actions.size()); ++n) {
    QAction* a = actions[static_cast<qsizetype>(n)];
    a->setEnabled(target.has_value());
    a->setChecked(target && kEaseChoices[n].ease == ease);
  }
  ease_button_->setEnabled(target.has_value());
  const std::string_view name = KeyEaseName(ease);
  ease_button_->setText(target ? QStringLiteral("Ease: %1").arg(QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())))
                               : QStringLiteral("Ease"));
}

void ToolWindow::UpdateValueScale() {
  const ParameterPanel& p = editor_->panel();
  const int n = scale_channel_->currentData().isValid() ? scale_channel_->currentData().toInt() : -1;
  if (n < 0 || n >= 6 || !p.HProp[static_cast<size_t>(n)].Visible()) {
    timeline_->value_scale()->SetChannel({}, 0);
    return;
  }
  timeline_->value_scale()->SetChannel(QString::fromStdString(p.Label[static_cast<size_t>(n)].caption),
                                       p.HProp[static_cast<size_t>(n)].Max());
}

// ---- help ----

void ToolWindow::ShowShortcuts() {
  QDialog dlg(this);
  dlg.setObjectName("ShortcutsDialog");
  dlg.setWindowTitle("Keyboard shortcuts");
  auto* layout = new QVBoxLayout(&dlg);
  auto* table = new QTableWidget(&dlg);
  table->setObjectName("ShortcutsTable");
  table->setColumnCount(2);
  table->setHorizontalHeaderLabels({"Keys", "Command"});
  table->verticalHeader()->hide();
  table->setEditTriggers(QAbstractItemView::NoEditTriggers);
  // Every command of the window that has keys, as the actions themselves say them.
  QList<QAction*> actions = findChildren<QAction*>();
  std::vector<std::pair<QString, QString>> rows;
  for (QAction* a : actions) {
    if (a->shortcut().isEmpty()) continue;
    QString text = a->text().remove('&');
    if (text.endsWith("Shortcut")) text = text.chopped(8);
    const std::pair<QString, QString> entry{a->shortcut().toString(QKeySequence::NativeText), text};
    if (std::find(rows.begin(), rows.end(), entry) == rows.end()) rows.push_back(entry);
  }
  rows.push_back({"Ctrl + wheel", "Zoom the timeline"});
  rows.push_back({"Double-click a value", "Type a slider value (Enter applies, Escape cancels)"});
  rows.push_back({"Up, Down, Page Up, Page Down", "Move through the effects (headings are skipped)"});
  table->setRowCount(static_cast<int>(rows.size()));
  for (size_t r = 0; r < rows.size(); ++r) {
    table->setItem(static_cast<int>(r), 0, new QTableWidgetItem(rows[r].first));
    table->setItem(static_cast<int>(r), 1, new QTableWidgetItem(rows[r].second));
  }
  table->resizeColumnsToContents();
  table->horizontalHeader()->setStretchLastSection(true);
  table->setMinimumSize(520, 380);
  layout->addWidget(table);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, &dlg);
  connect(buttons, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
  layout->addWidget(buttons);
  dlg.exec();
}

void ToolWindow::ShowEffectHelp() {
  const EffectDef* e = editor_->panel().SelectedEffect();
  if (!e) {
    MessageBox("Pick an effect in the list first.");
    return;
  }
  const auto q = [](std::string_view v) { return QString::fromUtf8(v.data(), static_cast<qsizetype>(v.size())); };
  QString text = QStringLiteral("%1 (%2)\n\n%3").arg(q(e->name), q(e->category), q(e->description));
  if (!e->sliders.empty()) text += "\n";
  for (const SliderSpec& s : e->sliders)
    text += QStringLiteral("\n%1: %2 to %3, default %4").arg(q(s.caption)).arg(s.min).arg(s.max).arg(s.value);
  if (!e->implemented()) text += "\n\nThis effect is not available yet: it leaves the frame as it is.";
  MessageBox(text.toStdString());
}

// ---- showing the models ----

void ToolWindow::RefreshPanel() {
  ParameterPanel& p = editor_->panel();
  SyncListSelection();
  const EffectDef* effect = p.SelectedEffect();
  for (size_t n = 0; n < sliders_.size(); ++n) {
    const QSignalBlocker block(sliders_[n]);
    sliders_[n]->SyncFromModel();
    const HPropModel& h = p.HProp[n];
    QString tip;
    if (effect && n < effect->sliders.size()) {
      const SliderSpec& s = effect->sliders[n];
      tip = QStringLiteral("%1: %2 to %3, default %4. Double-click the number to type a value.")
                .arg(QString::fromUtf8(s.caption.data(), static_cast<qsizetype>(s.caption.size())))
                .arg(h.Min())
                .arg(h.Max())
                .arg(s.value);
    }
    sliders_[n]->setToolTip(tip);
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
  if (auto* block = static_cast<SliderBlock*>(seq->parentWidget())) {
    block->button_model_left = p.kv_button13.left;
    block->button_model_top = p.kv_button13.top;
    block->Place();
  }
  seq->setVisible(p.kv_button13.visible);
  {
    const QSignalBlocker block(check1_);
    check1_->setChecked(p.Check1 != 0);
  }
  buttons_[11]->setChecked(editor_->keys().SplineMode());
  switch (p.Picture2_MousePointer) {
    case PointerKind::Custom:
      picture2_->SetEffectCursor(PickerCursor());
      break;
    case PointerKind::Sizing:
      picture2_->SetEffectCursor(Qt::SizeAllCursor);
      break;
    default:
      picture2_->SetEffectCursor(Qt::ArrowCursor);
  }
  picture2_->set_pan_with_left(!PreviewPicker::Accepts(p));
  description_->setText(effect ? QString::fromUtf8(effect->description.data(),
                                                   static_cast<qsizetype>(effect->description.size()))
                               : QStringLiteral("Pick an effect in the list, or type to find one."));
  description_->setToolTip(description_->text());
  // The scale's choice of slider: the visible sliders of the effect, the first by default.
  {
    const QSignalBlocker block(scale_channel_);
    const QVariant chosen = scale_channel_->currentData();
    QStringList wanted;
    for (int n = 0; n < 6; ++n)
      if (p.HProp[static_cast<size_t>(n)].Visible())
        wanted << QString::fromStdString(p.Label[static_cast<size_t>(n)].caption);
    QStringList have;
    for (int i = 0; i < scale_channel_->count(); ++i) have << scale_channel_->itemText(i);
    if (wanted != have) {
      scale_channel_->clear();
      for (int n = 0; n < 6; ++n)
        if (p.HProp[static_cast<size_t>(n)].Visible())
          scale_channel_->addItem(QString::fromStdString(p.Label[static_cast<size_t>(n)].caption), n);
      const int again = chosen.isValid() ? scale_channel_->findData(chosen) : -1;
      scale_channel_->setCurrentIndex(again >= 0 ? again : 0);
    }
    scale_channel_->setEnabled(scale_channel_->count() > 0);
  }
  UpdateValueScale();
  UpdateKeyLane();
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
  lp.setColor(QPalette::PlaceholderText, Packed(s.textbox_text).darker(160));
  list_->setPalette(lp);
  search_->setPalette(lp);
  list_->setFrameShape(s.borderless_strings ? QFrame::NoFrame : QFrame::StyledPanel);
  // Headings read as separators: the text colour on a band of the list's own colour.
  for (int i = 0; i < list_->count(); ++i)
    if (!editor_->panel().List1()[static_cast<size_t>(i)].starts_with(kListIndent))
      list_->item(i)->setBackground(Packed(s.textbox_fill).lighter(135));

  const QString scroll = QStringLiteral(
                             "QScrollBar { background: %1; border: %3; }"
                             "QScrollBar::handle { background: %2; min-width: 16px; min-height: 16px; }")
                             .arg(Packed(s.scroll_fill).name(), Packed(s.scroll_bar).name(),
                                  s.borderless_scrollers ? QStringLiteral("none")
                                                         : QStringLiteral("1px solid %1").arg(Packed(s.shadow).name()));
  timeline_->scroll_bar()->setStyleSheet(scroll);
  list_->verticalScrollBar()->setStyleSheet(scroll);
  timeline_->strip()->back_color = Packed(s.ruler);
  for (QWidget* w : {static_cast<QWidget*>(timeline_->ruler()), static_cast<QWidget*>(timeline_->value_scale())}) {
    QPalette rp = w->palette();
    rp.setColor(QPalette::Window, Packed(s.ruler));
    rp.setColor(QPalette::WindowText, QColor(40, 40, 40));
    w->setPalette(rp);
  }

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
  play_effect_->setColor(Packed(s.special_action));
  play_effect_->setHighlight(Packed(s.shine));
  play_effect_->setShadow(Packed(s.shadow));
  play_effect_->setBorderless(s.borderless_buttons != 0);
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

PictureBox ToolWindow::PreviewBox() const {
  if (picture2_->scale() == PreviewView::Scale::Actual) {
    TessalineHost& host = const_cast<Editor&>(*editor_).host();
    return {host.Tes_BufferWidth(), host.Tes_BufferHeight()};
  }
  return {picture2_->width(), picture2_->height()};
}

bool ToolWindow::ShowsBefore() const { return picture2_->split() && !playing_effect_ && !showing_live_; }

void ToolWindow::ShowBeforePicture(const ThumbImage& picture) {
  if (picture.width <= 0 || picture.height <= 0) return;
  QImage image(picture.rgb.data(), picture.width, picture.height, picture.width * 3, QImage::Format_RGB888);
  picture2_->SetBefore(image.copy());
}

QString ToolWindow::PreviewNote() const {
  if (rendering_) return "Rendering";
  if (showing_live_) return "Reduced while dragging";
  if (playing_effect_) return "Playing the effect";
  if (editor_->ShowsRenderedFrame()) return "As rendered";
  return {};
}

void ToolWindow::ShowPicture(const ThumbImage& picture) {
  if (picture.width <= 0 || picture.height <= 0) return;
  QImage image(picture.rgb.data(), picture.width, picture.height, picture.width * 3, QImage::Format_RGB888);
  TessalineHost& host = editor_->host();
  // The thumb's buffer is reused by the next preview: the view keeps a copy.
  picture2_->SetImage(image.copy(), QSize(host.Tes_BufferWidth(), host.Tes_BufferHeight()));
  if (playing_effect_) picture2_->SetBefore({});  // the flipbook keeps no frames before the effect
  picture2_->SetNote(PreviewNote());
}

void ToolWindow::DrawTimeline() {
  timeline_pending_ = false;
  const int32_t total = editor_->host().tes_GetTotalFrames();
  timeline_->set_total_frames(total);
  timeline_->strip()->Draw(editor_->keys().Timeline());
  UpdateKeyLane();
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
  if (playing_) editor_->kv_button8_Click();
  if (const std::optional<std::string> other = editor_->UndoDataAtStake()) {
    const auto answer = QMessageBox::question(
        this, "Undo data of another animation",
        QString::fromStdString("The undo data of " + *other +
                               ", which is open in another tessfx, would be replaced by this render: that "
                               "animation could no longer be undone. Render anyway?"),
        QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
    if (answer != QMessageBox::Yes) return;
  }
  std::optional<std::string> error;
  rendering_ = true;
  {
    ProgressWindow form2(*editor_, this);
    form2.exec();
    error = form2.error();
  }
  rendering_ = false;
  editor_->host().Tes_Refresh();
  // The render's end is a frame the host settled on: the sliders follow, the preview shows it.
  Schedule(kSettle);
  if (error) MessageBox("The render stopped: " + *error);
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
  if (watched == list_ && event->type() == QEvent::KeyPress) {
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->modifiers() == Qt::NoModifier && ListKey(key->key())) return true;
  }
  if (watched == search_ && event->type() == QEvent::KeyPress) {
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() == Qt::Key_Down || key->key() == Qt::Key_PageDown) {
      list_->setFocus(Qt::TabFocusReason);
      const int row = editor_->panel().ListIndex();
      if (row < 0 || !shown_rows_[static_cast<size_t>(row)]) ListKey(Qt::Key_Down);
      return true;
    }
    if (key->key() == Qt::Key_Escape && !search_->text().isEmpty()) {
      search_->clear();
      return true;
    }
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
  // The divider and panning belong to the view.
  if (type == QEvent::MouseButtonPress && (me->button() != Qt::LeftButton || picture2_->NearDivider(me->position())))
    return;
  if (type == QEvent::MouseMove && (!picker_.pressed() || picture2_->dragging())) return;
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
