// SPDX-License-Identifier: MIT
#include "fake_console.h"

FakeConsole::~FakeConsole() { platform::replaceConsole(nullptr); }

bool FakeConsole::inputMode(std::uint32_t& present) {
    if (isConsole) present = mode;
    return isConsole;
}

bool FakeConsole::setInputMode(std::uint32_t wanted) {
    if (!isConsole || !canBeChanged) return false;
    mode = wanted;
    modes.push_back(wanted);
    return true;
}

bool FakeConsole::borrowInputMode(std::uint32_t wanted) {
    former_ = mode;
    return setInputMode(wanted);
}

void FakeConsole::returnInputMode() { setInputMode(former_); }

bool FakeConsole::readCharacter(char& character) {
    if (typed.empty()) return false;
    character = typed.front();
    typed.erase(0, 1);
    return true;
}

int FakeConsole::readKey() {
    if (keys.empty()) return -1;
    const int key = keys.front();
    keys.pop_front();
    return key;
}

std::uint32_t FakeConsole::outputPage() {
    ++pageQuestions;
    return page;
}
