// What is told in place of a record of a stream, and of a camera's pictures.
#pragma once

#include <string>

#include "dice.h"

namespace hostile {

// The bytes that go out in place of this record; empty if it is left out or comes later.
class RecordLiar {
public:
    explicit RecordLiar(Dice& dice) : m_dice(dice) {}
    std::string Tell(std::string record);

private:
    Dice& m_dice;
    std::string m_late;
};

// The same for what has come of a stream of parts.
std::string TellPart(std::string bytes, Dice& dice);

}  // namespace hostile
