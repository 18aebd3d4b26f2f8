#pragma once
// The appliance editor's question before its appliance goes (closing it, opening another,
// leaving the studio): a modified appliance is offered for saving first.

namespace bx {

class Appliance;
class Prompter;

// True when the appliance may go: none, unmodified, or the person answered Yes (it was saved)
// or No. False when the person cancelled. A save that fails travels up as BxError.
bool DoQueryUnload(Appliance* appliance, Prompter& prompter);

} // namespace bx
