// A document of the library's as a person might have written it: laid out, in another order, with notes in it
// and numbers in other forms. Nothing of what it says is changed.
#pragma once

#include "base/wide_text.h"
#include "support/random_graphs.h"

namespace sbx::testing {

// `xml` is what the library wrote for `graph`, without breaks between tags. What is done to it is the dice's
// choice.
WideString AsWrittenByHand(const WideString& xml, const RandomGraph& graph, Dice& dice);

}  // namespace sbx::testing
