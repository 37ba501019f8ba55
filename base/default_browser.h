#pragma once

#include "base/shell_command.h"
#include "diag/error_chain.h"

// Where a default browser is registered, in the order of the search.
enum class t_browserSource
{
    userChoice, // the current user's choice for "http"
    httpClass,  // the class "http", which holds what programs registered before there was such a choice
    machine,    // the browser that the machine names as its own
};

struct t_defaultBrowser
{
    t_shellCommand command;
    t_browserSource source = t_browserSource::userChoice;
};

// Finds the program that opens web pages. A place without a command of the form that SplitShellCommand accepts, such as
// one that names an application package, is passed over for the next.
//   browser  receives the program; unchanged on failure
// Returns false, after appending "找不到默认浏览器", when no place names one. Why a place was passed over stays in the
// chain, on success too.
// Behind it: the association keys of the current user, of HKEY_CLASSES_ROOT and of the machine.
bool FindDefaultBrowser(t_errorChain& errors, t_defaultBrowser& browser);
