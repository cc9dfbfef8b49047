#!/usr/bin/env bash
# certificates.sh DIRECTORY: makes ca.pem, the certificate of an authority of the tests, and other-ca.pem, that of one
# that signs nothing. Of the first one are server.pem, for this machine and for the bucket "bucket" as a name in front
# of it, expired.pem, whose time is over, and elsewhere.pem, for another machine; their keys are server.key and so on.
set -euo pipefail
cd "$1"

new_key() {
  openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:prime256v1 -out "$1.key"
}

# authority NAME
authority() {
  new_key "$1"
  openssl req -x509 -key "$1.key" -subj "/CN=$1 of the tests" -days 2 -out "$1.pem"
}

# signed NAME DAYS HOSTS
signed() {
  new_key "$1"
  openssl req -new -key "$1.key" -subj "/CN=$1" |
    openssl x509 -req -CA ca.pem -CAkey ca.key -CAcreateserial -days "$2" -extfile <(echo "subjectAltName=$3") \
      -out "$1.pem"
}

authority ca
authority other-ca
signed server 2 DNS:localhost,DNS:bucket.localhost
signed expired -1 DNS:expired.localhost
signed elsewhere 2 DNS:objects.example.com
