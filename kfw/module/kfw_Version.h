/* What the module says of itself: in its attributes and in the Windows version resource. */
#ifndef KFW_VERSION_H
#define KFW_VERSION_H

#define KFW_PRODUCT "KOS"
#define KFW_PRODUCT_NAME "VEL KOS"
#define KFW_VERSION "1.29.3.0"
#define KFW_VERSION_NUMBERS 1, 29, 3, 0
#define KFW_VERSION_STR "1.29.0"
#define KFW_DESCRIPTION "KOS Framework"
#define KFW_INTERNAL_NAME "kfw"

#endif
