#pragma once

/** After an update: gives the fixed addresses of /etc/network/interfaces back to connman, then the name server, and
 *  announces the host name. A file that can't be read, or without usable addresses, changes nothing. Blocks until
 *  connman has answered; a refusal is not told. */
void applyInterfacesToConnman();
