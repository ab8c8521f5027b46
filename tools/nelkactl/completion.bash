# bash completion for nelkactl

_nelkactl()
{
    local operations="sampleadd getLocalIp getLocalMac getTable execQuery actualizaIdentificacion
        getAlarmasEstadoControlador checkSincronizado xmlrpc_changes resetModuleToFactorySettings getHoraModulo
        setRefrescoWeb updateNTP ejecutar_script sintonizarCanalTerr sintonizarCanalSat initInputScan statusInputScan
        getScanReport cancelInputScan scan getFPGASOC changeFPGASOC generarJSONWeb DlFicheroEsclavo RdFicheroEsclavo
        wrFicheroTablasSI configureSAPServer rdFicheroTablasSI rdFicheroResumen"
    local options="-H --host -p --port -t --timeout -d --database --json -v --verbose -q --quiet --trace
        --hosts -j --jobs --every --count --changes -h --help --version"
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    # Bash makes a word of the "=" in --option=value.
    if [ "$previous" = "=" ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    elif [ "$current" = "=" ]; then
        current=
    fi

    case $previous in
    -H | --host)
        mapfile -t COMPREPLY < <(compgen -A hostname -- "$current")
        return
        ;;
    --input | --output | --hosts)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    -p | --port | -t | --timeout | -d | --database | -j | --jobs | --every | --count | --interval | --until | --retry | --frecuencia* | --parametro*)
        return
        ;;
    esac

    local word operation=
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        if [[ " ${operations//$'\n'/ } " == *" $word "* ]]; then
            operation=$word
            break
        fi
    done

    case $operation in
    "")
        options+=" $operations"
        ;;
    resetModuleToFactorySettings)
        options+=" --yes"
        ;;
    sintonizarCanal*)
        options+=" --frecuencia --frecuenciaIntermedia --parametroSat --parametroTerr --parametroSat2
            --parametroComun --parametroSat3 --parametroSat4"
        ;;
    scan)
        options+=" --interval --until --retry"
        ;;
    wrFicheroTablasSI | configureSAPServer)
        options+=" --input"
        ;;
    RdFicheroEsclavo | rdFicheroTablasSI | rdFicheroResumen)
        options+=" --output"
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
}

complete -F _nelkactl nelkactl
