#include "variants/VCCustomizer.hpp"

namespace KS {

VCCustomizer::~VCCustomizer() = default;

}  // namespace KS
