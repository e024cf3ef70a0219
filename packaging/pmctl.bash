# bash completion for pmctl

_pmctl_keys='
pm_str_email_server_address
pm_bool_email_alert1_enabled
pm_bool_email_alert2_enabled
pm_bool_email_alert3_enabled
pm_bool_email_alert4_enabled
pm_str_email_alert1_destination
pm_str_email_alert2_destination
pm_str_email_alert3_destination
pm_str_email_alert4_destination
pm_str_email_alert1_subject
pm_str_email_alert2_subject
pm_str_email_alert3_subject
pm_str_email_alert4_subject
pm_str_email_alert1_body
pm_str_email_alert2_body
pm_str_email_alert3_body
pm_str_email_alert4_body
zuvastatus_bool_zuva_present
alert_bool_smtp_auth_enable
alert_str_smtp_user
alert_str_smtp_password
alert_int_smtp_sasl
pam_int_ad_enable_mode_pl
pam_int_ldap_enable_mode
NVC/description
NVC/productinfo
pm_str_endpoint_teshServiceRequest
Norvu.Embedded.1#IPv4.1#Enable
Norvu.Embedded.1#IPv4.1#Address
Norvu.Embedded.1#IPv6.1#Enable
Norvu.Embedded.1#IPv6.1#Address1
Norvu.Embedded.1#network.1#dnsnvcname
Norvu.Embedded.1#network.1#dnsregister
Norvu.Embedded.1#Remotehosts.1#SenderEmail
Norvu.Embedded.1#Remotehosts.1#MessageSubjectPrefix
Norvu.Embedded.1#Remotehosts.1#smtpport
Norvu.Embedded.1#Remotehosts.1#ConnectionEncryption
Norvu.Embedded.1#SNMP.1#AlertPort
Norvu.Embedded.1#SNMPAlert.1#State
Norvu.Embedded.1#SNMPAlert.2#State
Norvu.Embedded.1#SNMPAlert.3#State
Norvu.Embedded.1#SNMPAlert.4#State
Norvu.Embedded.1#SNMPAlert.5#State
Norvu.Embedded.1#SNMPAlert.6#State
Norvu.Embedded.1#SNMPAlert.7#State
Norvu.Embedded.1#SNMPAlert.8#State
Norvu.Embedded.1#SNMPAlert.1#Destination
Norvu.Embedded.1#SNMPAlert.2#Destination
Norvu.Embedded.1#SNMPAlert.3#Destination
Norvu.Embedded.1#SNMPAlert.4#Destination
Norvu.Embedded.1#SNMPAlert.5#Destination
Norvu.Embedded.1#SNMPAlert.6#Destination
Norvu.Embedded.1#SNMPAlert.7#Destination
Norvu.Embedded.1#SNMPAlert.8#Destination
Norvu.Embedded.1#ActiveDirectory.1#Enable
Norvu.Embedded.1#LDAP.1#Enable
Norvu.Embedded.1#LockDown.1#SystemLockdown
hardware.chassis_code
hardware.host_name
hardware.community
hardware.smbios_guid
'

# Prints the options of a verb. _pmctl completes the verb's first argument.
_pmctl_options() {
    case $1 in
    alert) echo --subject --body --body-file --host --skip-empty ;;
    test-message) echo --to --subject --body --body-file --skip-empty ;;
    alert-mail) echo --body --body-file --skip-empty ;;
    mail) echo --to --subject --body --body-file --no-wait --skip-empty ;;
    test-trap) echo --via ;;
    set) echo --file ;;
    drain) echo --timeout --cancel ;;
    watch) echo --utc ;;
    get) echo -v --verbose --json ;;
    event) echo --message --filter-id --type --size --attribute --record --no-wait ;;
    call) echo --record ;;
    check) echo --offline --json ;;
    log) echo -n --lines -f --follow -l --level --since --utc ;;
    status) echo --json --openmetrics --utc ;;
    list) echo --json ;;
    esac
}

_pmctl() {
    local word=$2 previous=$3 verb='' at global=()
    COMPREPLY=()
    for ((at = 1; at < COMP_CWORD; at++)); do
        case ${COMP_WORDS[at]} in
        --root | --timeout) global+=("${COMP_WORDS[at]}" "${COMP_WORDS[++at]}") ;;
        -*) ;;
        *)
            verb=${COMP_WORDS[at]}
            break
            ;;
        esac
    done
    local choices=
    case $previous in
    --root)
        compopt -o dirnames
        return
        ;;
    --body-file | --record | --file)
        compopt -o default
        return
        ;;
    --via) choices='ipmi log-manager' ;;
    --level | -l) choices='fatal error warning notice trace' ;;
    --attribute) choices=$(printf %s "$_pmctl_keys" | grep '#') ;;
    --timeout | --subject | --body | --host | --to | --message | --filter-id | --type | --size | --since | -n | --lines) return ;;
    *)
        if [ -z "$verb" ]; then
            choices='alert test-mail test-message alert-mail mail test-trap get set unset list event
                call watch check log status drain help --root --timeout --version --help'
        elif [[ $word == -* ]]; then
            choices="$(_pmctl_options "$verb") --help"
        elif ((at == COMP_CWORD - 1)); then
            case $verb in
            get | set | unset) choices=$_pmctl_keys ;;
            test-mail | alert-mail) choices='1 2 3 4' ;;
            test-trap) choices='1 2 3 4 5 6 7 8' ;;
            event) choices='event_ipmi_pet qelctl_event_config_changed ipmi_lockdown_config' ;;
            help) choices='alert test-mail test-message alert-mail mail test-trap get set unset list
                event call watch check log status drain' ;;
            call) choices=$(pmctl "${global[@]}" --timeout 1 list 2>/dev/null | grep -o 'pm_function_[A-Za-z]*') ;;
            check) compopt -o default ;;
            esac
        elif [[ $verb == get && ${COMP_WORDS[at + 1]} == -* ]]; then
            choices=$_pmctl_keys
        fi
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}
complete -F _pmctl pmctl
