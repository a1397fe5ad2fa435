/* What the module says of itself in its attributes. */
#ifndef KFW_VERSION_H
#define KFW_VERSION_H

#define KFW_PRODUCT "KOS"
#define KFW_PRODUCT_NAME "VEL KOS"
#define KFW_VERSION KFW_PROJECT_VERSION
#define KFW_VERSION_STR "1.29.0"
#define KFW_DESCRIPTION "KOS Framework"
#define KFW_INTERNAL_NAME "kfw"

#endif
