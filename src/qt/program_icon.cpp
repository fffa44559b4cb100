#include "qt/program_icon.h"

#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

// The resources live in a static library: nothing else would pull them into the program.
static void Load_Icon_Resources() {
    Q_INIT_RESOURCE(icons);
}

namespace td {

const QIcon& Program_Icon() {
    // Drawn here rather than through an image plugin, which an installation may lack.
    static const QIcon icon = [] {
        Load_Icon_Resources();
        QIcon drawn;
        QSvgRenderer renderer(QStringLiteral(":/icons/tally-depot.svg"));
        for (const int side : {16, 24, 32, 48, 64, 128, 256}) {
            QPixmap picture(side, side);
            picture.fill(Qt::transparent);
            QPainter painter(&picture);
            renderer.render(&painter);
            painter.end();
            drawn.addPixmap(picture);
        }
        return drawn;
    }();
    return icon;
}

void Use_Program_Icon() {
    QApplication::setWindowIcon(Program_Icon());
}

} // namespace td
