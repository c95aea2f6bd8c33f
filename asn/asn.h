// Everything of the BER runtime in one include.
#ifndef K3_ASN_ASN_H
#define K3_ASN_ASN_H

#include "asn/asn_config.h"
#include "asn/asn_errors.h"
#include "asn/asn_tags.h"
#include "asn/asn_buf.h"
#include "asn/asn_type.h"
#include "asn/asn_print.h"
#include "asn/asn_int.h"
#include "asn/asn_octs.h"
#include "asn/asn_bits.h"
#include "asn/asn_oid.h"
#include "asn/asn_null.h"
#include "asn/asn_bool.h"
#include "asn/asn_list.h"

#endif
