#include "ui/tour.h"

#include <QApplication>
#include <QDir>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMouseEvent>
#include <QPushButton>
#include <QScreen>
#include <QSlider>
#include <QTimer>
#include <iostream>
#include <memory>
#include <vector>

#include "ui/host_window.h"
#include "ui/timeline_widget.h"
#include "ui/tool_window.h"
#include "ui/widgets.h"

namespace tessfx {
namespace {

void Mouse(QWidget* w, QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons held) {
  QMouseEvent e(type, at, w->mapToGlobal(at), button, held, Qt::NoModifier);
  QCoreApplication::sendEvent(w, &e);
}

void Drag(QWidget* w, QPointF from, QPointF to) {
  Mouse(w, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
  for (int i = 1; i <= 8; ++i)
    Mouse(w, QEvent::MouseMove, from + (to - from) * (i / 8.0), Qt::NoButton, Qt::LeftButton);
  Mouse(w, QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton);
}

void Key(QWidget* w, int key, const QString& text = {}) {
  QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
  QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, text);
  QCoreApplication::sendEvent(w, &press);
  QCoreApplication::sendEvent(w, &release);
}

void Type(QWidget* w, const QString& text) {
  for (QChar c : text) Key(w, c.isDigit() ? Qt::Key_0 + c.digitValue() : Qt::Key_unknown, QString(c));
}

// The screen where the windows are: the host window with its docked tool window, and any
// dialog or menu above them.
QImage Grab(QWidget* main) {
  QRect area = main->frameGeometry();
  if (QWidget* modal = QApplication::activeModalWidget()) area |= modal->frameGeometry();
  if (QWidget* popup = QApplication::activePopupWidget()) area |= popup->frameGeometry();
  return main->screen()->grabWindow(0, area.x(), area.y(), area.width(), area.height()).toImage();
}

struct Tour : HostObserver {
  EmbeddedHost& embedded;
  HostWindow& main;
  ToolWindow& tool;
  QString folder;
  std::function<void(int)> done;
  std::vector<std::function<void()>> steps;
  size_t next = 0;
  int status = 0;
  int32_t grab_at_frame = -1;  // a picture taken while the render passes this frame

  Tour(EmbeddedHost& h, HostWindow& m, ToolWindow& t, QString f, std::function<void(int)> d)
      : embedded(h),
        main(m), tool(t), folder(std::move(f)), done(std::move(d)) {}

  template <typename T>
  T* Find(const char* name) {
    T* w = tool.findChild<T*>(name);
    if (!w) w = main.findChild<T*>(name);
    if (!w) Problem(std::string("no widget ") + name);
    return w;
  }
  void Problem(const std::string& what) {
    std::cerr << "tessfx tour: " << what << "\n";
    status = 1;
  }
  void Expect(bool ok, const std::string& what) {
    if (!ok) Problem(what);
  }
  void Save(const QImage& image, const char* name) {
    const QString path = QDir(folder).filePath(name);
    if (!image.save(path, "PNG"))
      Problem("cannot write " + path.toStdString());
    else
      std::cout << "wrote " << path.toStdString() << "\n";
  }
  void Shot(const char* name) {
    tool.SyncNow();
    QCoreApplication::processEvents();
    Save(Grab(&main), name);
  }

  void OnFrameChanged(int32_t frame) override {
    if (frame != grab_at_frame || !QApplication::activeModalWidget()) return;
    QCoreApplication::processEvents();
    Save(Grab(&main), "render.png");
  }

  void Run() {
    if (next >= steps.size()) {
      embedded.RemoveObserver(this);
      const std::function<void(int)> finish = done;
      const int result = status;
      delete this;
      finish(result);
      return;
    }
    steps[next++]();
    // A moment between steps for the windows to repaint, as between a user's actions.
    QTimer::singleShot(250, &main, [this] { Run(); });
  }

  void SetValue(int slider, const QString& text) {
    auto* label = Find<ValueLabel>(QStringLiteral("Label%1").arg(slider + 6).toUtf8().constData());
    if (!label) return;
    const QPointF centre(label->width() / 2.0, label->height() / 2.0);
    QMouseEvent dbl(QEvent::MouseButtonDblClick, centre, label->mapToGlobal(centre), Qt::LeftButton, Qt::LeftButton,
                    Qt::NoModifier);
    QCoreApplication::sendEvent(label, &dbl);
    QLineEdit* edit = label->editor();
    if (!edit) return Problem("no value editor");
    edit->selectAll();
    Type(edit, text);
    Key(edit, Qt::Key_Return);
  }
  void GotoFrame(int frame) {
    if (auto* s = Find<QSlider>("HostFrameSlider")) s->setValue(frame);
  }
  QPointF Lane(int32_t frame) {
    TimelineRuler* ruler = Find<TimelineRuler>("TimelineRuler");
    return {ruler->XOfFrame(frame), TimelineRuler::kRulerHeight + TimelineRuler::kLaneHeight / 2.0};
  }
};

}  // namespace

void RunTour(EmbeddedHost& embedded, HostWindow& host_window, ToolWindow& tool, const QString& folder,
             std::function<void(int)> done) {
  auto* t = new Tour(embedded, host_window, tool, folder, [done](int status) { done(status); });
  QDir().mkpath(folder);
  Editor& editor = tool.editor();
  TessalineHost& host = editor.host();
  const int32_t last = host.tes_GetTotalFrames() - 1;
  // Frames as the captions and the ruler count them: the 24th is frame 23.
  const int32_t middle = 23, moved_to = 29;
  std::vector<std::function<void()>>& s = t->steps;

  // 1. Key "Color add" at the first frame at -4 and at the last at 189, typing the values.
  s.push_back([t] {
    auto* list = t->Find<QListWidget>("List1");
    const QList<QListWidgetItem*> items = list->findItems("    Color add", Qt::MatchExactly);
    if (items.isEmpty()) return t->Problem("no Color add in the list");
    const QRect r = list->visualItemRect(items.front());
    Mouse(list->viewport(), QEvent::MouseButtonPress, r.center(), Qt::LeftButton, Qt::LeftButton);
    Mouse(list->viewport(), QEvent::MouseButtonRelease, r.center(), Qt::LeftButton, Qt::NoButton);
  });
  s.push_back([t] { t->GotoFrame(0); });
  s.push_back([t] {
    for (int n = 1; n <= 3; ++n) t->SetValue(n, "-4");
    if (auto* b = t->Find<QPushButton>("kv_button1")) b->click();
  });
  s.push_back([t, last] { t->GotoFrame(last); });
  s.push_back([t, &editor] {
    for (int n = 1; n <= 3; ++n) t->SetValue(n, "189");
    if (auto* b = t->Find<QPushButton>("kv_button1")) b->click();
    t->Expect(editor.keys().KeyCount() == 2, "two keys");
    t->Shot("keys.png");
  });
  // 2. Scrub to the middle frame with the before and after split on.
  s.push_back([t, middle, last, &editor] {
    t->tool.SetBeforeAfter(true);
    TimelineStrip* strip = t->Find<TimelineStrip>("Picture1");
    const double w = strip->scale_width();
    const auto x = [&](int32_t f) { return (f + 0.25) * w / (last + 1) - strip->scroll(); };
    Drag(strip, {x(last - 4), 30.0}, {x(middle), 30.0});
    t->tool.SyncNow();
    const int expected = static_cast<int>(std::lround(editor.renderer().FrameParameters(middle)[0]));
    t->Expect(editor.host().tes_Getcurrentframe() == middle, "scrubbed to the middle frame");
    t->Expect(editor.panel().HProp[0].Value() == expected, "the sliders show the keyed value");
    t->Shot("scrub.png");
  });
  // 3. Move the last key to frame 30 in the key lane, then ease it in from its menu.
  s.push_back([t, last, moved_to, &editor] {
    TimelineRuler* ruler = t->Find<TimelineRuler>("TimelineRuler");
    Drag(ruler, t->Lane(last), t->Lane(moved_to));
    t->Expect(editor.keys().KeyIndexAt(moved_to) >= 0, "the key moved to the 30th frame");
  });
  s.push_back([t] {
    auto* menu = t->tool.findChild<QMenu*>("EaseMenu");
    auto* button = t->Find<QWidget>("KeyEase");
    if (!menu || !button) return;
    menu->popup(button->mapToGlobal(QPoint(0, button->height())));
  });
  s.push_back([t] { t->Shot("ease-menu.png"); });
  s.push_back([t, moved_to, &editor] {
    if (auto* menu = t->tool.findChild<QMenu*>("EaseMenu")) {
      if (QAction* a = t->tool.findChild<QAction*>("Ease_ease_in")) a->trigger();
      menu->close();
    }
    const int32_t k = editor.keys().KeyIndexAt(moved_to);
    t->Expect(k >= 0 && editor.keys().KeyList()[static_cast<size_t>(k)].Ease == KeyEase::EaseIn,
              "the moved key eases in");
    t->Shot("ease.png");
  });
  // 4. Find "Gaussian blur" by typing, and pick it with Enter.
  s.push_back([t] {
    auto* search = t->Find<QLineEdit>("EffectSearch");
    search->setFocus();
    Type(search, "gauss");
    t->Shot("search.png");
  });
  s.push_back([t, &editor] {
    Key(t->Find<QLineEdit>("EffectSearch"), Qt::Key_Return);
    t->Expect(editor.panel().EffectName() == "Gaussian blur", "Gaussian blur picked");
  });
  // 5. Type a value: the editor over the value, then Enter.
  s.push_back([t] {
    auto* label = t->Find<ValueLabel>("Label7");
    label->OpenEditor();
    if (QLineEdit* e = label->editor()) {
      e->selectAll();
      Type(e, "12");
    }
    t->Shot("typed-value.png");
  });
  s.push_back([t, &editor] {
    if (QLineEdit* e = t->Find<ValueLabel>("Label7")->editor()) Key(e, Qt::Key_Return);
    t->Expect(editor.panel().HProp[0].Value() == 12, "the typed value is set");
  });
  // 6. Render with the progress window (pictured half-way), 7. then undo.
  s.push_back([t, middle, &editor] {
    t->grab_at_frame = middle;
    t->embedded.AddObserver(t);
    if (auto* b = t->Find<QPushButton>("kv_button3")) b->click();
    t->tool.SyncNow();
    t->Shot("rendered.png");
  });
  s.push_back([t] {
    if (auto* b = t->Find<QPushButton>("kv_button12")) b->click();
  });
  s.push_back([t, last, &editor] {
    t->tool.SyncNow();
    const int32_t total = last + 1;
    t->Expect(t->tool.windowTitle() == QStringLiteral("Timeline editor  (frame 1 of  %1 total)").arg(total),
              "the caption after undo: " + t->tool.windowTitle().toStdString());
    auto* label = t->Find<QLabel>("HostFrameLabel");
    t->Expect(label && label->text() == QStringLiteral("Frame 1 of %1").arg(total), "the host window after undo");
    t->Expect(editor.host().tes_Getcurrentframe() == 0, "frame 1 after undo");
    t->Shot("undo.png");
  });
  QTimer::singleShot(0, &host_window, [t] { t->Run(); });
}

}  // namespace tessfx
