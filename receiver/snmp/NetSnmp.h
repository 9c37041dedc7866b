// net-snmp's headers, in the order they need and without the warnings they were not written for.
#pragma once

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wundef"
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/library/keytools.h>
#include <net-snmp/library/large_fd_set.h>
#include <net-snmp/library/lcd_time.h>
#include <net-snmp/library/snmpusm.h>
#include <net-snmp/library/snmpv3.h>
#pragma GCC diagnostic pop
