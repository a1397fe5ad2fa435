// The identities of the module's classes.
#pragma once

namespace vel::kos::fw {

inline constexpr char CLASS_EVENT_DISPATCHER[] = "a20d8cf0-c2f2-11d5-bfd3-0000e2430653";
inline constexpr char CLASS_USER_DATA[] = "e3b9f51c-9ce5-11d6-9c21-00e029099a4b";
inline constexpr char CLASS_SEND_MAIL_CONFIG[] = "10b0ee48-8129-402e-8b9a-0566bc8c3a02";
inline constexpr char CLASS_SQL_FACTORY_REGISTRY[] = "71cc20fc-2fcd-11d8-9c22-00e029099a4b";
inline constexpr char CLASS_FILE_SYSTEM_CACHE[] = "67421a6c-857f-11d8-b9d6-00e081513ada";
inline constexpr char CLASS_SYSTEM_INFO[] = "d65b0a3b-31cb-0fe2-a712-bf819dc61996";
inline constexpr char CLASS_FEATURE_SET[] = "be9a0884-14b0-4a42-823b-edc3464b007c";

} // namespace vel::kos::fw
