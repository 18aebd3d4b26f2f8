#include "inspectors/Watch.h"

namespace bx {

Watch::Watch() = default;
Watch::~Watch() = default;

Watches& Watch::Children() {
    if (!children_)
        children_ = std::make_unique<bx::Watches>();
    return *children_;
}

bool Watch::HasChildren() const {
    return children_ && !children_->Empty();
}

std::string Watches::KeyOf(const std::string& title, const std::string& category) {
    return category + "^" + title;
}

std::shared_ptr<Watch> Watches::Add(const std::string& title, const std::string& category) {
    auto watch = std::make_shared<Watch>();
    watch->Title = title;
    watch->Category = category;
    return AddItem(watch);
}

std::shared_ptr<Watch> Watches::AddItem(std::shared_ptr<Watch> watch) {
    const std::string key = KeyOf(watch->Title, watch->Category);
    return TryAdd(key, watch) ? watch : nullptr;
}

void Watches::Remove(const std::string& title, const std::string& category) {
    KeyedCollection::Remove(KeyOf(title, category));
}

std::shared_ptr<Watch> Watches::Item(const std::string& title, const std::string& category) const {
    return KeyedCollection::Item(KeyOf(title, category));
}

} // namespace bx
