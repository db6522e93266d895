// Includes that point the right way, however they are spelled.
#include <openssl/x509.h>
#include <platform/toolkit/String.h>
#include <sys/queue.h>
#include <string>
#include "../receipts/Upward.h"
#include "./AngleUpward.h"
#include "Upward.h"
#include "platform/toolkit/String.h"
#include "qreceipt.h"
