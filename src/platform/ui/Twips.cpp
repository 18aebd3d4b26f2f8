#include "platform/ui/Twips.h"

#include <QWidget>

namespace bx::ui {

Twips::Twips(const QWidget* widget)
    : dpiX_(widget->logicalDpiX() > 0 ? widget->logicalDpiX() : 96),
      dpiY_(widget->logicalDpiY() > 0 ? widget->logicalDpiY() : 96) {}

} // namespace bx::ui
