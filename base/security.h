#pragma once

#include <windows.h>

// Security of what every process of the product shares, whoever runs it and with whatever integrity.

// Attributes for creating named objects: every user and, where the system has them, application packages get full
// access (openers ask for all access), with a low mandatory label where the system has integrity levels. Built once per
// process and kept. Null, which means the default security, when the system refuses to build them.
SECURITY_ATTRIBUTES* OpenSecurityAttributes();

// The access list for files that exist already, and the same label: everyone gets reading and writing, and nobody the
// right to change the list or the owner, so that a file keeps them. Null when there is none.
ACL* OpenAccessList();
ACL* LowMandatoryLabel();
