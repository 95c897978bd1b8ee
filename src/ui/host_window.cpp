#include "ui/host_window.h"

#include <QCloseEvent>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDockWidget>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QVBoxLayout>
#include <algorithm>
#include <functional>

#include "core/error.h"
#include "host/embedded/disk_frame_store.h"
#include "media/file_util.h"
#include "media/document_name.h"
#include "media/image_io.h"

#include "ui/frame_view.h"
#include "ui/widgets.h"

namespace tessfx {
namespace {
const char* const kOpenFilter =
    "Animations and images (*.tsa *.png *.exr *.tif *.tiff *.jpg *.jpeg *.bmp);;Animations (*.tsa);;All files (*)";
const char* const kImageFilter = "Images (*.png *.exr *.tif *.tiff *.jpg *.jpeg *.bmp);;All files (*)";

struct SaveFormInfo {
  HostWindow::SaveForm form;
  const char* filter;
  const char* extension;  // given to a name typed without one
  bool sequence;
};
const SaveFormInfo kSaveForms[] = {
    {HostWindow::SaveForm::Animation, "Animation (*.tsa)", "tsa", false},
    {HostWindow::SaveForm::PngSequence, "PNG image sequence (*.png)", "png", true},
    {HostWindow::SaveForm::TiffSequence, "TIFF image sequence (*.tif *.tiff)", "tif", true},
    {HostWindow::SaveForm::ExrSequence, "OpenEXR image sequence (*.exr)", "exr", true},
    {HostWindow::SaveForm::JpegSequence, "JPEG image sequence (*.jpg *.jpeg)", "jpg", true},
    {HostWindow::SaveForm::CurrentFrame, "Current frame as an image (*.png *.tif *.tiff *.exr *.jpg *.jpeg *.bmp)", "png",
     false},
};
}  // namespace

HostWindow::HostWindow(EmbeddedHost& host, QWidget* parent) : QMainWindow(parent), host_(host) {
  setObjectName("HostWindow");
  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  view_ = new FrameView(central);
  view_->setObjectName("FrameView");
  layout->addWidget(view_, 1);
  auto* controls = new QHBoxLayout();
  auto* play = new QPushButton(tr("Play"), central);
  play->setObjectName("HostPlay");
  auto* stop = new QPushButton(tr("Stop"), central);
  stop->setObjectName("HostStop");
  frame_slider_ = new QSlider(Qt::Horizontal, central);
  frame_slider_->setObjectName("HostFrameSlider");
  frame_label_ = new QLabel(central);
  frame_label_->setObjectName("HostFrameLabel");
  frame_label_->setMinimumWidth(130);
  controls->addWidget(play);
  controls->addWidget(stop);
  controls->addWidget(frame_slider_, 1);
  controls->addWidget(frame_label_);
  layout->addLayout(controls);
  setCentralWidget(central);

  connect(play, &QPushButton::clicked, this, [this] { host_.tes_PlayAnimation(); });
  connect(stop, &QPushButton::clicked, this, [this] { host_.tes_StopAnimation(); });
  connect(frame_slider_, &QSlider::valueChanged, this, [this](int f) {
    if (f != host_.tes_Getcurrentframe() && f >= 0 && f < host_.tes_GetTotalFrames()) host_.Tes_GotoFrame(f);
  });
  play_timer_.setInterval(1000 / 24);
  connect(&play_timer_, &QTimer::timeout, this, [this] { host_.AdvancePlayback(); });

  BuildMenus();
  host_.AddObserver(this);
  OnAnimationReplaced();
  resize(1440, 900);
}

HostWindow::~HostWindow() { host_.RemoveObserver(this); }

void HostWindow::BuildMenus() {
  QMenu* file = menuBar()->addMenu(tr("&File"));
  file->setObjectName("HostFileMenu");
  AddMenuAction(file, tr("&New animation..."), [this] {
    if (!MaybeSave()) return;
    QDialog dlg(this);
    dlg.setWindowTitle(tr("New animation"));
    auto* form = new QFormLayout(&dlg);
    auto* w = new QSpinBox(&dlg);
    auto* h = new QSpinBox(&dlg);
    auto* n = new QSpinBox(&dlg);
    w->setRange(1, 8192);
    h->setRange(1, 8192);
    n->setRange(1, 10000);
    w->setValue(host_.Tes_BufferWidth());
    h->setValue(host_.Tes_BufferHeight());
    n->setValue(30);
    form->addRow(tr("Width"), w);
    form->addRow(tr("Height"), h);
    form->addRow(tr("Frames"), n);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dlg);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
    if (dlg.exec() != QDialog::Accepted) return;
    try {
      host_.NewAnimation(w->value(), h->value(), n->value());
    } catch (const std::exception& e) {
      ShowError(tr("Cannot create the animation"), e);
    }
  }, QKeySequence::New);
  AddMenuAction(file, tr("&Open..."), [this] {
    if (!MaybeSave()) return;
    const QString path = QFileDialog::getOpenFileName(this, tr("Open animation"), LastFolder(), tr(kOpenFilter));
    if (!path.isEmpty()) OpenPath(path);
  }, QKeySequence::Open);
  AddMenuAction(file, tr("&Save"), [this] { SaveOrAsk(); }, QKeySequence::Save);
  AddMenuAction(file, tr("Save &as..."), [this] { AskSaveAs(); }, QKeySequence::SaveAs);
  file->addSeparator();
  auto load = [this](const QString& title, std::function<void(const std::string&)> fn) {
    const QString path = QFileDialog::getOpenFileName(this, title, LastFolder(), tr(kImageFilter));
    if (path.isEmpty()) return;
    try {
      fn(path.toStdString());
      RememberFolder(path);
      host_.Tes_Refresh();  // every window shows the new asset, the tool window's preview too
    } catch (const std::exception& e) {
      ShowError(tr("Cannot load %1").arg(QFileInfo(path).fileName()), e);
    }
  };
  AddMenuAction(file, tr("Load s&wap image..."), [this, load] {
    load(tr("Load swap image"), [this](const std::string& p) { host_.LoadSwapImage(p); });
  });
  AddMenuAction(file, tr("Copy frame to s&wap"), [this] {
    host_.CopyFrameToSwap();
    host_.Tes_Refresh();
  });
  AddMenuAction(file, tr("Load &paper..."), [this, load] {
    load(tr("Load paper texture"), [this](const std::string& p) { host_.LoadPaper(p); });
  });
  AddMenuAction(file, tr("Load &brush..."), [this, load] {
    load(tr("Load brush"), [this](const std::string& p) { host_.LoadBrush(p); });
  });
  AddMenuAction(file, tr("Load alpha &mask..."), [this, load] {
    load(tr("Load alpha mask"), [this](const std::string& p) { host_.LoadAlphaMask(p); });
  });
  file->addSeparator();
  AddMenuAction(file, tr("&Quit"), [this] { close(); }, QKeySequence::Quit);
}

void HostWindow::ShowError(const QString& what, const std::exception& e) {
  QMessageBox::warning(this, what, QString::fromStdString(OneLineMessage(e.what())));
}

QString HostWindow::LastFolder() const {
  return QString::fromStdString(host_.GetSetting("tessfx", "HostWindow", "LastFolder", ""));
}

void HostWindow::RememberFolder(const QString& file) {
  host_.SaveSetting("tessfx", "HostWindow", "LastFolder", QFileInfo(file).absolutePath().toStdString());
}

bool HostWindow::OpenPath(const QString& path) {
  try {
    host_.OpenDocument(path.toStdString());
    RememberFolder(path);
    return true;
  } catch (const std::exception& e) {
    ShowError(tr("Cannot open %1").arg(QFileInfo(path).fileName()), e);
    return false;
  }
}

void HostWindow::OfferLeftBehindWork() {
  std::vector<StoreDescription> stores;
  try {
    stores = FindLeftBehindStores(host_.Tes_GetTempDir());
  } catch (const std::exception&) {
    return;  // an unreadable folder offers nothing; `tessfx recover` says why
  }
  for (auto d = stores.rbegin(); d != stores.rend(); ++d) {
    const QString what = d->source.empty() ? tr("A new animation") : QString::fromStdString(d->source);
    QMessageBox box(QMessageBox::Question, tr("Work left behind"),
                    tr("%1 (%2x%3, %4) was still open in a tessfx that ended without closing it, on %5. "
                       "Restore it?")
                        .arg(what)
                        .arg(d->width)
                        .arg(d->height)
                        .arg(d->frames == 1 ? tr("1 frame") : tr("%1 frames").arg(d->frames))
                        .arg(QString::fromStdString(d->created)),
                    QMessageBox::NoButton, this);
    QPushButton* restore = box.addButton(tr("Restore"), QMessageBox::AcceptRole);
    QPushButton* discard = box.addButton(tr("Discard"), QMessageBox::DestructiveRole);
    box.addButton(tr("Keep for later"), QMessageBox::RejectRole);
    box.setDefaultButton(restore);
    box.exec();
    try {
      if (box.clickedButton() == discard) {
        if (QMessageBox::question(this, tr("Discard"), tr("Delete %1 for good?").arg(what)) == QMessageBox::Yes)
          DiscardStore(*d);
      } else if (box.clickedButton() == restore) {
        if (!MaybeSave()) return;
        host_.RecoverStore(d->store_path);
        DiscardStore(*d);  // the document now has a store of its own, itself recoverable
        statusBar()->showMessage(tr("Restored %1: it is not saved yet").arg(what));
        return;
      }
    } catch (const std::exception& e) {
      ShowError(tr("Cannot restore %1").arg(what), e);
    }
  }
}

bool HostWindow::SaveOrAsk() {
  if (host_.document_path().empty()) return AskSaveAs();
  bool allow_8bit = false;
  if (const std::optional<std::string> loss = host_.SaveDepthLoss()) {
    // The source holds more than the frames would give back: another file is the safe way.
    QMessageBox box(QMessageBox::Warning, tr("Save over a deeper source"),
                    QString::fromStdString(*loss) + tr("\n\nSave as another file, or replace it anyway?"),
                    QMessageBox::Cancel, this);
    QPushButton* save_as = box.addButton(tr("Save as..."), QMessageBox::AcceptRole);
    QPushButton* replace = box.addButton(tr("Replace anyway"), QMessageBox::DestructiveRole);
    box.setDefaultButton(save_as);
    box.exec();
    if (box.clickedButton() == save_as) return AskSaveAs();
    if (box.clickedButton() != replace) return false;
    allow_8bit = true;
  }
  return Saving(QString::fromStdString(host_.document_path()), [this, allow_8bit] { host_.Save(allow_8bit); });
}

bool HostWindow::AskSaveAs() {
  QFileDialog dlg(this, tr("Save animation as"), LastFolder());
  dlg.setAcceptMode(QFileDialog::AcceptSave);
  QStringList filters;
  for (const SaveFormInfo& f : kSaveForms) filters << tr(f.filter);
  dlg.setNameFilters(filters);
  // A longer animation most often leaves as pictures for other programs.
  dlg.selectNameFilter(filters[host_.tes_GetTotalFrames() > 1 ? 1 : 0]);
  if (dlg.exec() != QDialog::Accepted || dlg.selectedFiles().isEmpty()) return false;
  const auto chosen = static_cast<size_t>(std::max<qsizetype>(0, filters.indexOf(dlg.selectedNameFilter())));
  return SaveAs(dlg.selectedFiles().front(), kSaveForms[chosen].form);
}

bool HostWindow::SaveAs(const QString& path, SaveForm form) {
  const SaveFormInfo& info = *std::find_if(std::begin(kSaveForms), std::end(kSaveForms),
                                           [form](const SaveFormInfo& f) { return f.form == form; });
  QString target = path;
  if (QFileInfo(target).suffix().isEmpty()) target += QStringLiteral(".") + info.extension;
  if (!info.sequence) return SaveTo(target);
  const SequenceTarget sequence = SequenceTargetFor(target.toStdString());
  const QString pattern = QString::fromStdString(sequence.pattern);
  // The dialog asked about the name typed; the files of the sequence are other names.
  if (const auto first = ParseSequencePattern(sequence.pattern);
      first && QFileInfo::exists(QString::fromStdString(first->FileName(sequence.first_number)))) {
    const auto answer = QMessageBox::question(
        this, tr("Replace files"), tr("Files of the sequence %1 exist already. Replace them?").arg(pattern),
        QMessageBox::Yes | QMessageBox::Cancel);
    if (answer != QMessageBox::Yes) return false;
  }
  return SaveTo(pattern, sequence.first_number);
}

bool HostWindow::SaveTo(const QString& path, int64_t first_number) {
  EmbeddedHost::SaveOptions options;
  options.first_number = first_number;
  // Chosen again as the very files the document came from: the same question as Save.
  if (const std::optional<std::string> loss = host_.DepthLoss(path.toStdString(), options)) {
    const auto answer = QMessageBox::warning(this, tr("Save over a deeper source"),
                                             QString::fromStdString(*loss) + tr("\n\nReplace it anyway?"),
                                             QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
    if (answer != QMessageBox::Yes) return false;
    options.allow_8bit = true;
  }
  return Saving(path, [&] { host_.SaveDocument(path.toStdString(), options); });
}

bool HostWindow::Saving(const QString& path, const std::function<void()>& save) {
  try {
    save();
    RememberFolder(path);
    UpdateTitle();
    statusBar()->showMessage(tr("Saved %1").arg(path), 4000);
    return true;
  } catch (const std::exception& e) {
    ShowError(tr("Cannot save %1").arg(QFileInfo(path).fileName()), e);
    return false;
  }
}

bool HostWindow::MaybeSave() {
  if (!host_.modified()) return true;
  const auto answer = QMessageBox::question(this, tr("Unsaved changes"),
                                            tr("The animation has unsaved changes. Save them first?"),
                                            QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel);
  if (answer == QMessageBox::Cancel) return false;
  if (answer == QMessageBox::Discard) return true;
  return SaveOrAsk();
}

void HostWindow::closeEvent(QCloseEvent* e) {
  if (MaybeSave()) {
    host_.tes_StopAnimation();
    e->accept();
  } else {
    e->ignore();
  }
}

void HostWindow::OnAnimationReplaced() {
  const QSignalBlocker block(frame_slider_);
  frame_slider_->setRange(0, std::max(0, host_.tes_GetTotalFrames() - 1));
  ScheduleRedraw();
}

void HostWindow::OnFormObject(ObjectRef form) {
  auto* widget = static_cast<QWidget*>(form.pointer);
  if (!widget) return;
  if (!dock_) {
    dock_ = new QDockWidget(this);
    dock_->setObjectName("ToolDock");
    dock_->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    addDockWidget(Qt::RightDockWidgetArea, dock_);
  }
  dock_->setWindowTitle(widget->windowTitle());
  dock_->setWidget(widget);
  connect(widget, &QWidget::windowTitleChanged, dock_, &QDockWidget::setWindowTitle);
}

void HostWindow::OnPlay() { play_timer_.start(); }
void HostWindow::OnStop() { play_timer_.stop(); }

void HostWindow::ScheduleRedraw() {
  // Several writes in a row (R, G, B of a rendered frame) cost one redraw.
  if (redraw_pending_) return;
  redraw_pending_ = true;
  QTimer::singleShot(0, this, [this] { Redraw(); });
}

void HostWindow::Redraw() {
  redraw_pending_ = false;
  const int32_t f = host_.tes_Getcurrentframe(), total = host_.tes_GetTotalFrames();
  Plane r = host_.Tes_GetRBuffer(), g = host_.Tes_GetGBuffer(), b = host_.Tes_GetBBuffer();
  view_->SetImage(PlanesToImage(r, g, b));
  frame_label_->setText(tr("Frame %1 of %2").arg(f + 1).arg(total));
  {
    const QSignalBlocker block(frame_slider_);
    frame_slider_->setRange(0, std::max(0, total - 1));
    frame_slider_->setValue(f);
  }
  UpdateTitle();
}

void HostWindow::UpdateTitle() {
  // A sequence is named by its pattern ("shot.####.png"). The name goes in last and whole:
  // a placeholder in it must not be taken for one of the title's own.
  const QString name = host_.document_path().empty() ? tr("Untitled")
                                                      : QString::fromStdString(DocumentTitleName(host_.document_path()));
  const QString rest = QStringLiteral("%1 - Tessaline %2x%3")
                           .arg(host_.modified() ? "*" : "")
                           .arg(host_.Tes_BufferWidth())
                           .arg(host_.Tes_BufferHeight());
  setWindowTitle(name + rest);
}

}  // namespace tessfx
