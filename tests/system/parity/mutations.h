// Small damages to a document, as editing by hand, broken transports and hostile authors make them. The same
// dice give the same damage everywhere.
#pragma once

#include "base/wide_text.h"
#include "support/random_graphs.h"

namespace sbx::testing {

// What is put into a text by some of the damages.
enum class Words { kJobScript, kDescriptions, kRules };

// Damages `text` one to three times.
void Mutate(WideString& text, Words words, Dice& dice);

}  // namespace sbx::testing
