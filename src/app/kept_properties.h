// The control's properties as the desktop program keeps them between its runs.
#pragma once

#include "app/app_options.h"
#include "control/client.h"

namespace kvmon {

class COrvoRegistry;

// The properties that an earlier run kept, without those that are of no use.
PropertyBag LoadKeptProperties(const COrvoRegistry& registry);
// The properties that the command line sets.
PropertyBag PropertiesOf(const AppOptions& options);
// The command line says another recorder's address or port than what is kept. A login that is kept for the
// one is not for the other.
bool NamesAnotherRecorder(const PropertyBag& kept, const PropertyBag& told);
// All properties as they are now.
PropertyBag PropertiesOf(CTR450Client& client);
// Keeps those of `now` that are not as in `before`. The credential is kept enciphered, as those of further
// recorders are.
void KeepChangedProperties(COrvoRegistry& registry, const PropertyBag& before, const PropertyBag& now);

}  // namespace kvmon
