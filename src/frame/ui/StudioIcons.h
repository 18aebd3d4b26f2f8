#pragma once
// The studio's own icons: SVG drawings compiled into the program, looked up by key ("Run",
// "FoldOpen", "Studio", ...), the names the toolbars, trees and lists use for their images.

#include <QIcon>
#include <QString>

namespace bx::ui {

// The icon of the key, drawn afresh at each size asked for; a null icon for an unknown key.
QIcon StudioIcon(const QString& key);

} // namespace bx::ui
