#!/usr/bin/env bash
# Makes an installer package for a test or a rehearsal, signed under a root of the caller's own.
#
#   make_package.sh [options] OUT.msi
#
# The package:
#   --product GUID          product code                {11111111-1111-1111-1111-111111111111}
#   --version V             product version             1.0.0
#   --name NAME             product name                Rehearsal
#   --upgrade-code GUID     upgrade code                {99999999-9999-9999-9999-999999999999}
#   --upgrades GUID         a row of the Upgrade table: replaces older products of that upgrade code
#   --feature NAME          its one feature             Main
#   --property NAME=VALUE   a row of the Property table (repeatable)
#   --reg-version KEY       the Registry row REG_VERSION: value "version", text [PROP_VERSION]
#   --reg2-version KEY      the same as REG2_VERSION
#   --root N                root of these two rows: 1 current user, 2 local machine (default)
#   --file NAME=PATH        a file of its folder C:\Program Files\NAME OF THE PRODUCT (repeatable)
#   --windows-file NAME=PATH  a file of C:\Windows (repeatable)
#   --condition TEXT        a launch condition
#   --query SQL             run on the finished database before it is signed (repeatable)
#   --program PATH          no package: sign a copy of this program file instead
# The signature:
#   --authority DIR         where root and certificates are made and kept   (OUT's folder)/authority
#   --publisher NAME        common name of the signer   Velandrim Software Inc.
#   --second-signer NAME    a second signer of the same message
#   --unsigned              none
#   --expired               a certificate of the year 2020
#   --untrusted             a certificate of another root, which DIR/root.pem doesn't hold
#   --self-signed           a certificate of nobody's
#   --wrong-usage           a certificate for servers
#   --sha1                  a certificate signed with SHA-1 (what Wine takes the trouble to check)
#   --extended              sign the directory of the package, too
#   --tamper WHAT           change it behind the signer's back: content, certificate, signature
#
# DIR/root.pem is the certificate to trust. Everything else in DIR is of no interest to a caller.
set -euo pipefail

die() { echo "make_package.sh: $*" >&2; exit 1; }

product={11111111-1111-1111-1111-111111111111} version=1.0.0 name=Rehearsal
upgrade_code={99999999-9999-9999-9999-999999999999} upgrades= feature=Main root=2
reg_version= reg2_version= condition= program= authority= publisher="Velandrim Software Inc."
second= kind=good digest=sha256 extended= tamper= signed=1
properties=() files=() windows_files=() queries=()
while [ $# -gt 1 ]; do
  case $1 in
    --product) product=$2 ;; --version) version=$2 ;; --name) name=$2 ;;
    --upgrade-code) upgrade_code=$2 ;; --upgrades) upgrades=$2 ;; --feature) feature=$2 ;;
    --property) properties+=("$2") ;; --reg-version) reg_version=$2 ;;
    --reg2-version) reg2_version=$2 ;; --root) root=$2 ;; --file) files+=("$2") ;;
    --windows-file) windows_files+=("$2") ;; --condition) condition=$2 ;;
    --query) queries+=("$2") ;; --program) program=$2 ;; --authority) authority=$2 ;;
    --publisher) publisher=$2 ;; --second-signer) second=$2 ;; --tamper) tamper=$2 ;;
    --unsigned) signed=; shift; continue ;;
    --expired|--untrusted|--self-signed|--wrong-usage) kind=${1#--}; shift; continue ;;
    --sha1) digest=sha1; shift; continue ;;
    --extended) extended=1; shift; continue ;;
    *) die "unknown option $1" ;;
  esac
  shift 2
done
[ $# = 1 ] || die "no output file"
out=$1
authority=${authority:-$(dirname "$out")/authority}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# --- certificates ---

xml() { local text=${1//&/&amp;}; text=${text//</&lt;}; echo "${text//\"/&quot;}"; }
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; die "failed: $1 ${2-}"; }; }

# issue NAME SUBJECT DIGEST FROM TO EXTENSIONS [ISSUER]: a key and a certificate, unless they are
# there. Without an issuer the certificate signs itself.
issue() {
  local base=$authority/$1
  [ ! -e "$base.pem" ] || return 0
  local signer=(-selfsign -keyfile "$base.key")
  [ -z "${7-}" ] || signer=(-cert "$authority/$7.pem" -keyfile "$authority/$7.key")
  printf '%s\n' '[ca]' 'default_ca=own' '[own]' "new_certs_dir=$work" "database=$work/index" \
    'policy=any' 'unique_subject=no' 'email_in_dn=yes' 'rand_serial=yes' '[any]' \
    'commonName=optional' '[req]' 'distinguished_name=dn' 'prompt=no' 'utf8=yes' '[dn]' \
    "CN=$2" '[ext]' "$6" >"$work/config"
  : >"$work/index"
  quietly openssl req -new -newkey rsa:2048 -nodes -config "$work/config" \
    -keyout "$base.key" -out "$work/request"
  quietly openssl ca -batch -notext -config "$work/config" -in "$work/request" -md "$3" \
    -startdate "$4" -enddate "$5" -extensions ext "${signer[@]}" -out "$work/issued.pem"
  mv "$work/issued.pem" "$base.pem"
}

ca_extensions=$'basicConstraints=critical,CA:TRUE\nkeyUsage=keyCertSign'
code_extensions=$'basicConstraints=CA:FALSE\nextendedKeyUsage=codeSigning'

# Makes the certificate of a publisher and prints its name.
signer() {
  local from=20190101000000Z to=20491231000000Z extensions=$code_extensions issuer=root id
  case $kind in
    expired) to=20210101000000Z ;;
    wrong-usage) extensions=$'basicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth' ;;
    untrusted) issuer=stranger ;;
    self-signed) issuer= ;;
  esac
  id=$(printf '%s' "$1|$kind|$digest" | sha256sum | cut -c1-16)
  issue "$id" "$1" $digest $from $to "$extensions" $issuer
  echo "$id"
}

make_authority() {
  mkdir -p "$authority"
  exec 8>"$authority/lock"
  flock 8
  issue root "Rehearsal Root" sha256 20190101000000Z 20491231000000Z "$ca_extensions"
  [ $kind != untrusted ] ||
    issue stranger "Strange Root" sha256 20190101000000Z 20491231000000Z "$ca_extensions"
}

# --- the package ---

# file_component ID NAME=PATH (wixl takes only names relative to its folder)
file_component() {
  cp "${2#*=}" "$work/source-$1"
  printf '<Component Id="C_%s" Guid="{%s}" Win64="yes"><File Id="F_%s" Name="%s" Source="%s" ' \
    "$1" "$(guid "$product$1")" "$1" "$(xml "${2%%=*}")" "source-$1"
  printf 'KeyPath="yes"/></Component>\n'
  components+="<ComponentRef Id=\"C_$1\"/>"
}
# registry_component ID KEY
registry_component() {
  local hive=HKLM; [ "$root" != 1 ] || hive=HKCU
  printf '<Component Id="C_%s" Guid="{%s}" Win64="yes">' "$1" "$(guid "$product$1")"
  printf '<RegistryValue Id="%s" Root="%s" Key="%s" Name="version" Type="string" ' "$1" $hive \
    "$(xml "$2")"
  printf 'Value="[PROP_VERSION]" KeyPath="yes"/></Component>\n'
  components+="<ComponentRef Id=\"C_$1\"/>"
}
guid() {
  local h; h=$(printf '%s' "$1" | sha256sum | tr a-f A-F)
  echo "${h:0:8}-${h:8:4}-${h:12:4}-${h:16:4}-${h:20:12}"
}

make_source() {
  components=
  local number=0 item
  if [ ${#files[@]} = 0 ]; then
    echo "Installed by a rehearsal." >"$work/readme.txt"
    files=("readme.txt=$work/readme.txt")
  fi
  echo '<?xml version="1.0" encoding="utf-8"?>'
  echo '<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">'
  echo "<Product Id=\"$product\" Name=\"$(xml "$name")\" Language=\"1033\" Version=\"$version\""
  echo "  Manufacturer=\"Rehearsal\" UpgradeCode=\"$upgrade_code\">"
  echo '<Package InstallerVersion="200" Compressed="yes" InstallScope="perMachine"/>'
  echo '<Media Id="1" Cabinet="files.cab" EmbedCab="yes"/>'
  echo '<Property Id="Mark" Value="~ok~"/>'
  for item in ${properties[@]+"${properties[@]}"}; do
    echo "<Property Id=\"${item%%=*}\" Value=\"$(xml "${item#*=}")\"/>"
  done
  [ -z "$condition" ] || echo "<Condition Message=\"no\">$(xml "$condition")</Condition>"
  if [ -n "$upgrades" ]; then
    echo "<Upgrade Id=\"$upgrades\"><UpgradeVersion Minimum=\"0.0.0\" Maximum=\"$version\""
    echo '  IncludeMinimum="yes" IncludeMaximum="no" Property="OLDERFOUND"/></Upgrade>'
  fi
  echo '<Directory Id="TARGETDIR" Name="SourceDir">'
  echo "<Directory Id=\"ProgramFiles64Folder\"><Directory Id=\"INSTALLDIR\" Name=\"$(xml "$name")\">"
  for item in "${files[@]}"; do file_component $((number += 1)) "$item"; done
  [ -z "$reg_version" ] || registry_component REG_VERSION "$reg_version"
  [ -z "$reg2_version" ] || registry_component REG2_VERSION "$reg2_version"
  echo '</Directory></Directory><Directory Id="WindowsFolder">'
  for item in ${windows_files[@]+"${windows_files[@]}"}; do
    file_component $((number += 1)) "$item"
  done
  echo "</Directory></Directory><Feature Id=\"$feature\" Level=\"1\">$components</Feature>"
  echo '</Product></Wix>'
}

make_unsigned() {
  if [ -n "$program" ]; then
    cp "$program" "$work/unsigned"
    return
  fi
  make_source >"$work/source.wxs"
  (cd "$work" && quietly wixl -a x64 -o unsigned source.wxs)
  local sql
  for sql in ${queries[@]+"${queries[@]}"}; do quietly msibuild "$work/unsigned" -q "$sql"; done
}

# --- the signature ---

sign() {
  local id others=(); id=$(signer "$publisher")
  # A stranger brings his root along: known, but not trusted.
  [ $kind != untrusted ] || others=(-ac "$authority/stranger.pem")
  quietly osslsigncode sign -h sha256 ${extended:+-add-msi-dse} \
    ${others[@]+"${others[@]}"} -certs "$authority/$id.pem" \
    -key "$authority/$id.key" -in "$work/unsigned" -out "$work/signed"
  [ -n "$second$([ "$tamper" != signature ] || echo x)" ] || return 0
  # The message is taken out, changed, and put back.
  quietly osslsigncode extract-signature -in "$work/signed" -out "$work/message"
  if [ -n "$second" ]; then
    id=$(signer "$second")
    quietly openssl smime -resign -inform DER -in "$work/message" -outform DER -md sha256 \
      -signer "$authority/$id.pem" -inkey "$authority/$id.key" -out "$work/message2"
    mv "$work/message2" "$work/message"
  fi
  if [ "$tamper" = signature ]; then
    # The message ends in the encrypted digest.
    perl -0777 -pi -e 'substr($_, -1) = chr(ord(substr($_, -1)) ^ 1)' "$work/message"
  fi
  rm "$work/signed"
  # It also verifies what it has attached, and neither a broken signature nor a second signer is
  # to its liking; what counts is that the file is written.
  osslsigncode attach-signature -sigin "$work/message" ${extended:+-add-msi-dse} \
    -CAfile "$authority/root.pem" -in "$work/unsigned" -out "$work/signed" >"$work/log" 2>&1 || true
  [ -e "$work/signed" ] || { cat "$work/log" >&2; die "failed: osslsigncode attach-signature"; }
}

# replace FROM TO: in the signed file, or fail.
replace() {
  FROM=$1 TO=$2 perl -0777 -pi -e \
    '$n = s/\Q$ENV{FROM}\E/$ENV{TO}/; END { exit($n ? 0 : 1) }' "$work/signed" ||
    die "nothing to tamper with"
}

make_unsigned
if [ -n "$signed" ]; then
  make_authority
  sign
  case $tamper in
    ''|signature) ;;
    content) if [ -n "$program" ]; then replace "DOS mode" "DOS-mode"; else replace '~ok~' '~no~'; fi ;;
    certificate) replace "${publisher:0:12}" "${publisher:0:11}?" ;;
    *) die "tamper with what?" ;;
  esac
  mv "$work/signed" "$out"
else
  mv "$work/unsigned" "$out"
fi
