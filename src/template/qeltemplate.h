// SPDX-License-Identifier: Apache-2.0

// Everything that a caller of libqeltemplate needs: the dialect by name, the parser, its values,
// its errors, and the log.
#pragma once

#include "template/config_type.h"
#include "template/framework/tov_err.h"
#include "template/framework/tov_log.h"
#include "template/parser_template.h"
#include "template/value.h"
