// Start-up of the data-mining units: their text keys and the list of normalizer
// vendors. Called once by the program (and the mining tests) after CoreStartup and
// EnvStartup; calling it again changes nothing.
#pragma once

namespace lv {

void MiningStartup();

}  // namespace lv
