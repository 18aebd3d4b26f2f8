#pragma once
// The Dispatcher of the studio: work posted from any thread (the simulator's worker, for one)
// runs later on the Qt event loop of the UI thread.

#include "foundation/HostInterfaces.h"

#include <QObject>
#include <QPointer>

namespace bx::ui {

class QtDispatcher : public Dispatcher {
public:
    // context must live on the UI thread; work posted after it is gone is dropped.
    explicit QtDispatcher(QObject* context);
    void post(std::function<void()> fn) override;

private:
    QPointer<QObject> context_;
};

} // namespace bx::ui
