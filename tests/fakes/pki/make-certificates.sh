#!/bin/sh
# Makes a throwaway authority and one certificate for every case that a test needs.
#
#   make-certificates.sh [--windows] DIR [MACHINE]
#
#   DIR/my/<case>.pem       certificate, key and helpers in one file: a personal store
#   DIR/my/<case>.pfx       with --windows: certificate and key with the password "test"
#   DIR/root/authority.pem  the one trust anchor
#   DIR/all/<case>/         cert.pem, key.pem and chain.pem (the certificate and what is sent with it)
#
# The subject of every case is "O=case <case>, CN=<first name>". A search for "case client, " finds
# one entry, one for "case client" those of the longer names too. Cases that would be no entry of a
# store (authorities, broken keys) lie in all/ only. With MACHINE there is one more case, "machine",
# a server of that name. DIR may exist; files of the same names are replaced.
#
# With --windows all keys are RSA keys: the Windows systems that the tests run on import no others.
# Some are then shared.
set -eu

windows=""
if [ "${1:-}" = --windows ]; then
    windows=yes
    shift
fi
if [ $# -lt 1 ] || [ $# -gt 2 ]; then
    echo "usage: $0 [--windows] DIR [MACHINE]" >&2
    exit 1
fi
mkdir -p "$1/my" "$1/root" "$1/all"
top=$(cd "$1" && pwd)
machine=${2:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

usual_time="20200101000000Z 20491231235959Z"
past_time="20200101000000Z 20210101000000Z"
future_time="20480101000000Z 20491231235959Z"
local_names="DNS:localhost,IP:127.0.0.1,IP:::1"
server_usage="extendedKeyUsage=serverAuth"
client_usage="extendedKeyUsage=clientAuth"
authority_marks="basicConstraints=critical,CA:true
keyUsage=critical,keyCertSign,cRLSign"
leaf_marks="basicConstraints=critical,CA:false
keyUsage=critical,digitalSignature"

cat >"$work/ca.cnf" <<END
[ca]
default_ca = throwaway
[throwaway]
database = $work/index.txt
new_certs_dir = $work
default_md = sha256
rand_serial = yes
policy = any_policy
unique_subject = no
[any_policy]
organizationName = optional
commonName = optional
[req]
distinguished_name = empty
[empty]
END
: >"$work/index.txt"

# Wine can't sign with a key of which a part is shorter than usual by a byte, as one in a hundred is.
new_rsa_key() { # file
    whole=0
    while [ "$whole" != 7 ]; do
        openssl genrsa -out "$1" 2048 2>/dev/null
        whole=$(openssl rsa -in "$1" -traditional 2>/dev/null | openssl asn1parse |
            grep -cE ':([0-9A-F]{256}|[0-9A-F]{512})$' || true)
    done
}

# Such a key takes long to make: those that stand for elliptic ones are shared by servers and by
# clients, but not by authorities.
make_rsa_key() { # case kind
    key=$top/all/$1/key.pem
    case $2:$1 in
    rsa:* | *authority | *intermediate)
        new_rsa_key "$key"
        return
        ;;
    ec:client*) shared=$work/client.key ;;
    *) shared=$work/server.key ;;
    esac
    [ -f "$shared" ] || new_rsa_key "$shared"
    cp "$shared" "$key"
}

make_key() { # case kind
    case $2$windows in
    rsa* | ecyes) make_rsa_key "$1" "$2" ;;
    weak*) openssl genrsa -out "$top/all/$1/key.pem" 1024 2>/dev/null ;;
    *) openssl ecparam -name prime256v1 -genkey -noout -out "$top/all/$1/key.pem" ;;
    esac
}

# issue CASE KEY-KIND ISSUER SUBJECT TIMES EXTENSIONS; ISSUER "self" signs with its own key.
issue() {
    mkdir -p "$top/all/$1"
    make_key "$1" "$2"
    openssl req -new -config "$work/ca.cnf" -key "$top/all/$1/key.pem" -subj "$4" \
        -out "$work/$1.csr"
    if [ "$3" = self ]; then
        signer="-selfsign -keyfile $top/all/$1/key.pem"
        identifiers="subjectKeyIdentifier=hash"
    else
        signer="-cert $top/all/$3/cert.pem -keyfile $top/all/$3/key.pem"
        identifiers="subjectKeyIdentifier=hash
authorityKeyIdentifier=keyid"
    fi
    printf '%s\n' "$6" "$identifiers" >"$work/$1.ext"
    # shellcheck disable=SC2086
    openssl ca -batch -config "$work/ca.cnf" $signer -in "$work/$1.csr" -notext -preserveDN \
        -startdate "${5% *}" -enddate "${5#* }" -extfile "$work/$1.ext" \
        -out "$top/all/$1/cert.pem" 2>"$work/log" || { cat "$work/log" >&2; exit 1; }
    cp "$top/all/$1/cert.pem" "$top/all/$1/chain.pem"
}

store() { # case: an entry of the personal store
    { cat "$top/all/$1/cert.pem" "$top/all/$1/key.pem"; sed 1,/END/d "$top/all/$1/chain.pem"; } \
        >"$top/my/$1.pem"
    if [ -n "$windows" ]; then
        openssl pkcs12 -export -inkey "$top/all/$1/key.pem" -in "$top/all/$1/cert.pem" \
            -passout pass:test -out "$top/my/$1.pfx"
    fi
}

send_with() { # case helper
    cat "$top/all/$2/cert.pem" >>"$top/all/$1/chain.pem"
}

# leaf CASE KEY-KIND ISSUER COMMON-NAME ALTERNATIVE-NAMES USAGE TIMES; an empty one is left out.
leaf() {
    marks=$leaf_marks
    [ -z "$5" ] || marks="$marks
subjectAltName=$5"
    [ -z "$6" ] || marks="$marks
$6"
    issue "$1" "$2" "$3" "/O=case $1${4:+/CN=$4}" "$7" "$marks"
}

issue authority rsa self "/O=case authority/CN=Throwaway Authority" "$usual_time" "$authority_marks"
issue other-authority ec self "/O=case other-authority/CN=Other Authority" "$usual_time" \
    "$authority_marks"
issue intermediate ec authority "/O=case intermediate/CN=Throwaway Intermediate" "$usual_time" \
    "$authority_marks"
cp "$top/all/authority/cert.pem" "$top/root/authority.pem"

# Servers that are to be accepted.
leaf server-rsa rsa authority localhost "$local_names" "$server_usage" "$usual_time"
leaf server-ecdsa ec authority localhost "$local_names" "$server_usage" "$usual_time"
leaf with-intermediate ec intermediate localhost "$local_names" "$server_usage" "$usual_time"
send_with with-intermediate intermediate
leaf no-usage ec authority localhost "$local_names" "" "$usual_time"
leaf two-names ec authority one.test "DNS:one.test,DNS:two.test" "$server_usage" "$usual_time"
leaf wildcard ec authority "*.wild.test" "DNS:*.wild.test" "$server_usage" "$usual_time"
leaf common-name ec authority common.test "" "$server_usage" "$usual_time"

# Servers that are to be refused.
leaf wrong-name ec authority elsewhere.test "DNS:elsewhere.test" "$server_usage" "$usual_time"
leaf expired ec authority localhost "$local_names" "$server_usage" "$past_time"
leaf not-yet-valid ec authority localhost "$local_names" "$server_usage" "$future_time"
leaf wrong-usage ec authority localhost "$local_names" "$client_usage" "$usual_time"
leaf untrusted ec other-authority localhost "$local_names" "$server_usage" "$usual_time"
leaf self-signed ec self localhost "$local_names" "$server_usage" "$usual_time"
leaf missing-intermediate ec intermediate localhost "$local_names" "$server_usage" "$usual_time"
leaf not-authority ec server-ecdsa localhost "$local_names" "$server_usage" "$usual_time"
send_with not-authority server-ecdsa
leaf no-names ec authority "" "" "$server_usage" "$usual_time"
leaf partial-wildcard ec authority "w*.wild.test" "DNS:w*.wild.test" "$server_usage" "$usual_time"
# "localhost", a zero byte and ".evil.test" in one name.
leaf zero-in-name ec authority "" \
    "DER:30:16:82:14:6c:6f:63:61:6c:68:6f:73:74:00:2e:65:76:69:6c:2e:74:65:73:74" \
    "$server_usage" "$usual_time"

# Clients.
leaf client ec authority client.test "DNS:client.test" "$client_usage" "$usual_time"
leaf client-rsa rsa authority client.test "DNS:client.test" "$client_usage" "$usual_time"
leaf client-with-intermediate ec intermediate client.test "DNS:client.test" "$client_usage" \
    "$usual_time"
send_with client-with-intermediate intermediate
leaf client-two-names ec authority first.test "DNS:first.test,DNS:second.test" "$client_usage" \
    "$usual_time"
leaf client-no-names ec authority "" "" "$client_usage" "$usual_time"
leaf client-expired ec authority client.test "DNS:client.test" "$client_usage" "$past_time"
leaf client-untrusted ec other-authority client.test "DNS:client.test" "$client_usage" "$usual_time"
leaf client-self-signed ec self client.test "DNS:client.test" "$client_usage" "$usual_time"

for entry in server-rsa server-ecdsa with-intermediate no-usage two-names wildcard common-name \
    wrong-name expired not-yet-valid wrong-usage untrusted self-signed missing-intermediate \
    not-authority no-names partial-wildcard zero-in-name client client-rsa \
    client-with-intermediate client-two-names client-no-names client-expired client-untrusted \
    client-self-signed; do
    store "$entry"
done

if [ -n "$machine" ]; then
    leaf machine ec authority "$machine" "DNS:$machine,$local_names" "$server_usage" "$usual_time"
    store machine
fi

# Keys at fault.
leaf weak-key weak authority localhost "$local_names" "$server_usage" "$usual_time"
leaf encrypted-key ec authority localhost "$local_names" "$server_usage" "$usual_time"
openssl pkey -traditional -aes128 -passout pass:secret -in "$top/all/encrypted-key/key.pem" \
    -out "$work/encrypted.pem" 2>/dev/null
cp "$work/encrypted.pem" "$top/all/encrypted-key/key.pem"
leaf other-key ec authority localhost "$local_names" "$server_usage" "$usual_time"
cp "$top/all/client/key.pem" "$top/all/other-key/key.pem"

# As a careful administrator leaves them.
chmod o-r "$top"/my/* "$top"/all/*/key.pem
