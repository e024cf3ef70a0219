// Settings at start-up.
#pragma once

namespace pm {

// Loads the settings and writes the two descriptive texts where they are missing, or
// in any case with factoryDefaults.
void initPersistentParameters();

} // namespace pm
