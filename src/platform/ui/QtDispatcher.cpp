#include "platform/ui/QtDispatcher.h"

#include <QMetaObject>

namespace bx::ui {

QtDispatcher::QtDispatcher(QObject* context) : context_(context) {}

void QtDispatcher::post(std::function<void()> fn) {
    QObject* context = context_.data();
    if (context == nullptr)
        return;
    // A queued call on the context object runs in the context's thread, never inline.
    QMetaObject::invokeMethod(context, std::move(fn), Qt::QueuedConnection);
}

} // namespace bx::ui
