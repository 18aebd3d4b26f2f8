#include "appliance/Appliance.h"

#include "foundation/Common.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/Xml.h"

namespace bx {

namespace {
template <class T>
T& CreatedOnFirstUse(std::unique_ptr<T>& collection) {
    if (!collection)
        collection = std::make_unique<T>();
    return *collection;
}

} // namespace

Appliance::Appliance() : toolsPath_(platform::ProgramFolder() + "\\") {}

Appliance::~Appliance() {
    ReleaseBuildGraph();
}

void Appliance::ReleaseBuildGraph() {
    if (buildTargets_)
        for (const auto& entry : *buildTargets_)
            entry.item->Sources.reset();
    if (runTarget_)
        runTarget_->Sources.reset();
}

bool Appliance::OptionAt(int index) const {
    const bool options[] = {Option1, Option2, Option3, Option4, Option5, Option6, Option7, Option8};
    return index >= 1 && index <= 8 && options[index - 1];
}

void Appliance::SetOptionAt(int index, bool value) {
    bool* options[] = {&Option1, &Option2, &Option3, &Option4,
                       &Option5, &Option6, &Option7, &Option8};
    if (index >= 1 && index <= 8)
        *options[index - 1] = value;
}

Peripherals& Appliance::Peripherals() {
    return CreatedOnFirstUse(peripherals_);
}
Views& Appliance::Views() {
    return CreatedOnFirstUse(views_);
}
Desktops& Appliance::Desktops() {
    return CreatedOnFirstUse(desktops_);
}
LoadImages& Appliance::LoadImages() {
    return CreatedOnFirstUse(loadImages_);
}
BuildTargets& Appliance::BuildTargets() {
    return CreatedOnFirstUse(buildTargets_);
}
ObjMaps& Appliance::ObjMaps() {
    return CreatedOnFirstUse(objMaps_);
}
BuildAssociations& Appliance::BuildAssociations() {
    return CreatedOnFirstUse(buildAssociations_);
}
Watches& Appliance::Watches() {
    return CreatedOnFirstUse(watches_);
}
Breakpoints& Appliance::Breakpoints() {
    return CreatedOnFirstUse(breakpoints_);
}

std::shared_ptr<BuildTarget> Appliance::RunTarget() {
    if (!runTarget_)
        runTarget_ = std::make_shared<BuildTarget>();
    return runTarget_;
}

void Appliance::Save(bool Force) {
    if (Force || dirty_) {
        // The title is the file's name: one that leads out of the folder, or that the build
        // can't carry, is refused before anything is written.
        if (const std::string problem = ApplianceNameProblem(Title); !problem.empty())
            throw BxError(errors::kBadFileName, "Appliance", problem);
        platform::XmlDocument document;
        WriteDocument(document);
        platform::ScopedCurrentDirectory restorer;
        ChangeDirAndDrive(Folder);
        const std::string fileName = Title + ".apl";
        std::string whyNot;
        if (!document.SaveFile(fileName, &whyNot))
            throw BxError(errors::kFileAccess, "Appliance",
                          "Cannot write the appliance file \"" +
                              platform::ToNativePath(Folder + fileName) + "\": " + whyNot);
    }
    dirty_ = false;
}

std::string Appliance::DefaultBuildCommand(const std::string& FileName) {
    // The first dot of the whole text counts, folders included: "C:\my.dir\a.asm" asks for
    // "dir\a.asm" and finds nothing. A name without any dot has no extension to ask for.
    const auto dot = FileName.find('.');
    if (dot == std::string::npos)
        return {};
    auto association = BuildAssociations().Item(FileName.substr(dot + 1));
    return association ? association->With : std::string();
}

std::string Appliance::DefaultOutputPath(const std::string& FileName) {
    // Unlike the command lookup, only a dot in the file's own name counts here.
    const auto slash = FileName.rfind('\\');
    const std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    const auto dot = FileName.find('.', nameStart);
    // Without a dot in the name the whole text is looked up, which finds nothing in practice.
    const std::string extension = dot == std::string::npos ? FileName : FileName.substr(dot + 1);
    auto association = BuildAssociations().Item(extension);
    if (!association || association->To.empty())
        return {};
    // A source that produces what the final step produces goes straight to the final output.
    const std::string& runOutput = RunTarget()->OutputPath;
    if (association->To == GetExtension(runOutput))
        return runOutput;
    // Products lie in the working folder: the file's stem with its dot, then the product's
    // extension. A name without a dot has no stem to put it behind.
    if (dot == std::string::npos)
        return {};
    return FileName.substr(nameStart, dot - nameStart + 1) + association->To;
}

} // namespace bx
