// When pm is done with its start. Its last steps are its subscriptions to changes of
// attributes, behind the loading of the settings and the seeding of texts; requests
// that are served from then on meet all of it.
#pragma once

namespace pm::host {

// A subscriber was made, or could not be: an attempt at all subscriptions begins.
void noteSubscriber(bool made);
// A subscription was made, or could not be.
void noteSubscription(bool made);

bool startIsDone();
// The hook is called once when the start is done, on the thread that does the last
// step; at once if it already is.
void setStartDoneHook(void (*hook)());

} // namespace pm::host
