#include "appliance_editor/QueryUnload.h"

#include "appliance/Appliance.h"
#include "foundation/HostInterfaces.h"

namespace bx {

bool DoQueryUnload(Appliance* appliance, Prompter& prompter) {
    if (!appliance || !appliance->IsDirty())
        return true;
    const int answer = prompter.ask("Appliance Editor",
                                    "The appliance settings have been modified.\r\nSave changes "
                                    "to '" +
                                        appliance->Title + "' before exiting?",
                                    Buttons::YesNoCancel, Icon::Question);
    if (answer == AnswerCancel)
        return false;
    if (answer == AnswerYes)
        appliance->Save(true);
    return true;
}

} // namespace bx
