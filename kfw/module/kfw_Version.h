/* What the module says of itself in its attributes, beside the product (k_knows_version). */
#ifndef KFW_VERSION_H
#define KFW_VERSION_H

#define KFW_VERSION KFW_PROJECT_VERSION
#define KFW_VERSION_STR "1.29.0"
#define KFW_DESCRIPTION "KOS Framework"
#define KFW_INTERNAL_NAME "kfw"

#endif
