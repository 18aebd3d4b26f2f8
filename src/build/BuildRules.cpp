#include "build/BuildRules.h"

namespace bx {

std::shared_ptr<BuildAssociation>
BuildAssociations::Add(const std::string& from, const std::string& with, const std::string& to) {
    return KeyedCollection::Add(
        from, std::make_shared<BuildAssociation>(BuildAssociation{from, with, to}));
}

std::shared_ptr<BuildTarget> BuildTargets::Add(std::shared_ptr<BuildTargets> sources,
                                               const std::string& make, const std::string& output) {
    auto target = std::make_shared<BuildTarget>(BuildTarget{output, make, std::move(sources)});
    return KeyedCollection::Add(output, target);
}

std::shared_ptr<BuildTarget> BuildTargets::AddItem(std::shared_ptr<BuildTarget> target) {
    const std::string key = target->OutputPath;
    return KeyedCollection::Add(key, std::move(target));
}

} // namespace bx
