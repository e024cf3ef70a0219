// Detects the end of pm's start. Its last steps are subscriptions to attribute changes, made
// after the settings are loaded; requests are served only from then on.
#pragma once

namespace pm::host {

// Call when pm creates a subscriber, which begins an attempt at all subscriptions. made:
// whether it succeeded.
void noteSubscriber(bool made);
// Call after each subscription.
void noteSubscription(bool made);

bool startIsDone();
// Calls hook once: when the start is done, on the thread of its last step, or at once if it
// is done already.
void setStartDoneHook(void (*hook)());

} // namespace pm::host
