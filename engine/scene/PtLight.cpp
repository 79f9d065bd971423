#include "scene/PtLight.h"

#include <stdexcept>

namespace Velda {

std::string PtLight::getStateText()
{
    throw std::logic_error("The method or operation is not implemented.");
}

} // namespace Velda
