# Completion of grelmoor. Made by scripts/make_completions.py from docs/options.txt.

_grelmoor() {
    local word=${COMP_WORDS[COMP_CWORD]} choices='-mftfile -image -vmdk -drivenum -partition -vss -indxfile -offset -ignore_image_size -mftstart -mftrange -filter_ext -filter_name -filter_fullname -filter_wildcard -filter_dir -filter_dir_recurse -filter_file -filter_dir_inode -filter_inode -filter_max_size -filter_min_size -filter_sig -filter_pattern -scanstart -scansize -find_objid -filter -filter_start_time -filter_stop_time -filter_deleted_files -filter_AND_logic -filter_deleted_files_all -filter_unalloc_clusters -filter_all_clusters -default_output -csv -csvperpath -filepath_only -csvl2t -bodyfile -jsonl -hashfile -multiline -csvgen -xml -find_mft -hexdump -no_run_header -thorough -hide_dos_fntimes -filerecord_offset -action_include_clusterinfo -action_include_header -action_include_header_ex -action_copy_files -all -named_data -normal_data -raw -skip_sparse_clusters -use_orig_ext -base10 -base16 -dateformat -timeformat -pair_datetime -csv_separator -no_whitespace -hostname -username -out -outfile -outdir -script -diags -quiet -profile -signal -cpu -tempdir -separate_files -fragment_files -cpuinst -h -help --help -verbose -v -pipe -alias -aliaspath -gzip -zlib -zlibex -threads -jp -lnk -sqlite'
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
        -mftfile|-image|-vmdk|-partition|-indxfile|-out|-outfile|-script|-diags|-sqlite) return ;;
        -action_copy_files|-outdir|-tempdir) compopt +o default -o dirnames; return ;;
        -filter_sig) choices='mz 16bit_mz 32bit_pe 64bit_pe pe hive evt sqlite lnk' ;;
        -hashfile) choices='md5 sha1' ;;
        -drivenum|-vss|-offset|-mftstart|-mftrange|-filter_ext|-filter_name|-filter_fullname|-filter_wildcard|-filter_dir|-filter_dir_recurse|-filter_file|-filter_dir_inode|-filter_inode|-filter_max_size|-filter_min_size|-filter_pattern|-scanstart|-scansize|-find_objid|-filter|-filter_start_time|-filter_stop_time|-find_mft|-action_include_header_ex|-dateformat|-timeformat|-csv_separator|-hostname|-username|-signal|-cpu|-fragment_files|-cpuinst|-alias|-aliaspath|-zlibex|-threads) choices= ;;
    esac
    compopt +o default
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}
complete -o default -F _grelmoor grelmoor
