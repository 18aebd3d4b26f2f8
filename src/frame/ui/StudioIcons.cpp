#include "frame/ui/StudioIcons.h"

#include <QFile>

// The icons are compiled into a static library, whose resources are registered only when asked
// for; the registration macro has to be used outside any namespace.
static void RegisterStudioIconResources() {
    Q_INIT_RESOURCE(icons);
}

namespace bx::ui {

QIcon StudioIcon(const QString& key) {
    static const bool registered = (RegisterStudioIconResources(), true);
    (void)registered;
    // A key is a plain name: anything that could walk to another resource is unknown.
    if (key.isEmpty() || key.contains(QLatin1Char('/')))
        return {};
    const QString path = QStringLiteral(":/icons/%1.svg").arg(key);
    if (!QFile::exists(path))
        return {};
    // From a file name ending in .svg, QIcon takes the SVG icon engine, which renders every
    // size from the drawing instead of scaling one bitmap.
    return QIcon(path);
}

} // namespace bx::ui
