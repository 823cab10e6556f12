// A Qt 6 Widgets program with a window of its own: qt_host URL ASSETS LANGUAGE. The download is forced from
// its event loop; the ticks are those of Qt's timer.
#include "tests/ui/hosts/forced_download.h"

#include <QApplication>
#include <QLabel>
#include <QTimer>

int main(int argc, char** argv) {
    const testhost::Order order = testhost::OrderFrom(argv);
    const QApplication application(argc, argv);
    QLabel window(QStringLiteral("Host"));
    window.show();
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
    timer.start(20);
    QTimer::singleShot(300, &window, [&] { QApplication::exit(testhost::Run(order, ticks)); });
    return QApplication::exec();
}
