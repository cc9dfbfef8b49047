#!/usr/bin/env bash
# tls_front.sh DIRECTORY: stands with TLS before the server whose endpoint is in DIRECTORY/behind. It makes certificates
# in the directory, and shows that of the name by which it is called: expired.localhost, elsewhere.localhost, or any
# other. Once it answers, DIRECTORY/ready has its port. It ends with the end of standard input.
set -euo pipefail
"${BASH_SOURCE[0]%/*}/certificates.sh" "$1" 2>"$1/certificates.log"
exec python3 "${BASH_SOURCE[0]%/*}/tls_front.py" "$1"
