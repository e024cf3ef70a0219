// Settings that pm writes at start-up.
#pragma once

namespace pm {

// Loads the settings, and writes the two descriptive texts that are missing. With
// factoryDefaults it writes both.
void initPersistentParameters();

} // namespace pm
