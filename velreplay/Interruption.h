// The wish of a user to end the replay now.
#pragma once

namespace Velreplay {

/// Ends the replay after the current block, as by SIGINT; called again two seconds later, at once.
void Interrupt(int signal);
bool IsInterrupted();

} // namespace Velreplay
