// A Qt 6 Widgets program with a window of its own: qt_host URL ASSETS LANGUAGE. The download is forced from
// its event loop. Its timer asks for the window to be painted; the ticks are the paintings.
#include "tests/ui/hosts/forced_download.h"

#include <QApplication>
#include <QLabel>
#include <QTimer>

namespace {

class Window : public QLabel {
  public:
    using QLabel::QLabel;
    int paintings = 0;

  protected:
    void paintEvent(QPaintEvent* event) override {
        ++paintings;
        QLabel::paintEvent(event);
    }
};

}  // namespace

int main(int argc, char** argv) {
    const testhost::Order order = testhost::OrderFrom(argv);
    const QApplication application(argc, argv);
    Window window(QStringLiteral("Host"));
    window.setWindowTitle(QStringLiteral("Host"));
    window.show();
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { window.update(); });
    timer.start(20);
    QTimer::singleShot(300, &window, [&] { QApplication::exit(testhost::Run(order, window.paintings)); });
    return QApplication::exec();
}
