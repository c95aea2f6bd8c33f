// The byte vector the private-data writers append to.
#ifndef K3_CSTA3_PRIVATE_OCTET_VEC_H
#define K3_CSTA3_PRIVATE_OCTET_VEC_H

#include <vector>

namespace CSTA3V6 {

using OctetVec = std::vector<unsigned char>;

}  // namespace CSTA3V6

#endif
